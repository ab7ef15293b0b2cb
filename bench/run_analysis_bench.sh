#!/usr/bin/env bash
# Analysis throughput against the machine's limit, as a user runs it.
#
# For N = 65536 and 1048576 on a 1 GB 16-bit recording in the page cache:
#   - the ceiling: bench/analysis_ceiling.cpp, one thread doing only pread, conversion,
#     Hann window, FFTW_MEASURE transform and vector log10, built with -march=native;
#   - the engine: the whole "vexlor-cli analyse FILE --window hann --fft N --project P.xml"
#     process, cold (a fresh data folder: no FFT wisdom) and warm (the run after, with the
#     wisdom the first stored), MB/s = data bytes / wall seconds of the process;
#   - the ratio warm / ceiling and cold / ceiling, and the engine's own time split (thread
#     time per stage, from its log) with the time outside the run (start and project save).
# Then the peak memory (maximum resident set) of a warm run over 1 GB and over 4 GB, and the
# FFT workers' scaling: --threads 1 on one core (taskset) against the default on all.
#
#   bench/run_analysis_bench.sh [--threads T] [TMPDIR]   (build the release preset first)
#
# Measure on a quiet machine: every figure is wall time.
set -euo pipefail
cd "$(dirname "$0")/.."
threads=()
if [[ "${1:-}" == "--threads" ]]; then
  threads=(--threads "$2")
  shift 2
fi
build=${BENCH_BUILD:-build/release}
cli="$build/src/cli/vexlor-cli"
ceiling="$build/bench/analysis_ceiling"
generate="$build/bench/bench_analysis"
tmp=$(mktemp -d "${1:-/tmp}/vexlor-analysis-bench.XXXXXX")
trap 'rm -rf "$tmp"' EXIT

echo "machine: $(nproc) processors, $(grep -m1 'model name' /proc/cpuinfo | cut -d: -f2-), load average $(cut -d' ' -f1-3 /proc/loadavg)"
"$generate" generate "$tmp/1g" 1 >/dev/null
file1g="$tmp/1g/bench 000.wav"
bytes=$(( $(stat -c %s "$file1g") - 44 ))

# engine N DATA_FOLDER FILE [GB]: one whole process over FILE's recording (GB gigabytes,
# default 1); prints "mb_per_s peak_mb wall_s run_s|time split"
engine() {
  local n=$1 data=$2
  shift 2
  local log="$tmp/engine.log"
  XDG_CONFIG_HOME="$data/config" XDG_DATA_HOME="$data/data" HOME="$data" \
    /usr/bin/time -f "wall %e rss %M" "$cli" -v analyse "$1" --window hann --fft "$n" "${threads[@]}" \
    --project "$tmp/P.xml" >"$log" 2>&1
  local wall rss run split
  wall=$(sed -n 's/^wall \([0-9.]*\) rss.*/\1/p' "$log")
  rss=$(sed -n 's/^wall .* rss \([0-9]*\)/\1/p' "$log")
  # The run: from its "Analyse" log line to its "Finished" (milliseconds in the log).
  local t0 t1
  t0=$(grep -m1 ' Analyse$' "$log" | cut -d' ' -f2)
  t1=$(grep -m1 ' Finished$' "$log" | cut -d' ' -f2)
  run=$(echo "$t0 $t1" | awk '{ split($1, a, ":"); split($2, b, ":");
    printf "%.2f", (b[1] * 3600 + b[2] * 60 + b[3]) - (a[1] * 3600 + a[2] * 60 + a[3]) }')
  split=$(sed -n 's/.*Time split: //p' "$log")
  local total=$bytes
  [[ $# -gt 1 ]] && total=$(( total * $2 ))
  printf '%s %s %s %s|%s\n' "$(echo "scale=1; $total / $wall / 1000000" | bc)" "$((rss / 1024))" "$wall" "$run" "$split"
}

printf '%-8s %-9s %-9s %-9s %-9s %-9s %s\n' "N" "ceiling" "cold" "warm" "cold/c" "warm/c" "(MB/s, whole process)"
splits=()
for n in 65536 1048576; do
  c=$("$ceiling" "$n" "$file1g" | sed -n 's/^mb_per_s //p')
  rm -rf "$tmp/fresh"
  cold=$(engine "$n" "$tmp/fresh" "$file1g")
  warm=$(engine "$n" "$tmp/fresh" "$file1g")
  warm2=$(engine "$n" "$tmp/fresh" "$file1g")
  # The better of two warm runs: the first may still find the wisdom file out of the cache.
  if (( $(echo "${warm2%% *} > ${warm%% *}" | bc) )); then warm=$warm2; fi
  cm=${cold%% *}
  wm=${warm%% *}
  printf '%-8s %-9s %-9s %-9s %-9s %-9s\n' "$n" "$c" "$cm" "$wm" "$(echo "scale=2; $cm / $c" | bc)" \
    "$(echo "scale=2; $wm / $c" | bc)"
  for run in cold warm; do
    r=${!run}
    set -- ${r%%|*}
    splits+=("$(printf 'N=%-8s %-5s process %s s, run %s s, outside the run %.2f s; %s' "$n" "$run" "$3" "$4" \
      "$(echo "$3 - $4" | bc)" "${r#*|}")")
  done
done
echo
echo "engine time split (thread seconds per stage; reader, forwarder and picture share the second core):"
printf '  %s\n' "${splits[@]}"

echo
"$generate" generate "$tmp/4g" 4 4 >/dev/null
# Three runs of each: how many read buffers are in flight at the peak varies from run to run.
range1="" range4="" speed4=""
for i in 1 2 3; do
  r=$(engine 65536 "$tmp/fresh" "$file1g")
  set -- ${r%%|*}
  range1="$range1 $2"
  r=$(engine 65536 "$tmp/fresh" "$tmp/4g/bench 000.wav" 4)
  set -- ${r%%|*}
  range4="$range4 $2"
  speed4="$speed4 $1"
done
echo "peak memory at N = 65536 (MB, three runs each): 1 GB run${range1}; 4 GB run${range4}; 4 GB at${speed4} MB/s"
echo
one=$(XDG_CONFIG_HOME="$tmp/fresh/config" XDG_DATA_HOME="$tmp/fresh/data" HOME="$tmp/fresh" \
  taskset -c 0 "$cli" analyse "$file1g" --window hann --fft 65536 --threads 1 --project "$tmp/P.xml" 2>&1 |
  sed -n 's/^Analysed .*(\([0-9.]*\) MB\/s).*/\1/p')
all=$(XDG_CONFIG_HOME="$tmp/fresh/config" XDG_DATA_HOME="$tmp/fresh/data" HOME="$tmp/fresh" \
  "$cli" analyse "$file1g" --window hann --fft 65536 --threads "$(nproc)" --project "$tmp/P.xml" 2>&1 |
  sed -n 's/^Analysed .*(\([0-9.]*\) MB\/s).*/\1/p')
echo "FFT workers at N = 65536 (MB/s inside the run): one core, --threads 1: $one; $(nproc) cores, --threads $(nproc): $all"
echo "machine after the runs: load average $(cut -d' ' -f1-3 /proc/loadavg)"
