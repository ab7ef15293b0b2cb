#!/usr/bin/env bash
# End-to-end analysis benchmark: throughput of a 1 GB 16-bit recording in the page cache at
# N = 65536 and N = 1048576 beside the machine's single-thread ceiling, and the peak memory
# of that run and of a 4 GB run. The recordings are written to a temporary folder (default
# /tmp, or $1) and deleted afterwards.
#
#   bench/run_analysis_bench.sh [TMPDIR]        (build the release preset first)
set -euo pipefail
cd "$(dirname "$0")/.."
bench=${BENCH_ANALYSIS:-build/release/bench/bench_analysis}
tmp=$(mktemp -d "${1:-/tmp}/vexlor-analysis-bench.XXXXXX")
trap 'rm -rf "$tmp"' EXIT
export XDG_CONFIG_HOME="$tmp/config" XDG_DATA_HOME="$tmp/data" HOME="$tmp"

figure() { sed -n "s/^$1 //p"; }

echo "machine: $(nproc) processors, load average $(cut -d' ' -f1-3 /proc/loadavg)"
"$bench" generate "$tmp/1g" 1 >/dev/null
# The engine runs its FFT workers at idle priority, as the application does; on a machine
# busy with other work they then get only what is left over, so the engine is measured a
# second time with them at normal priority.
printf '%-9s %-8s %-13s %-13s %-7s %-9s %s\n' "N" "FFT prio" "engine MB/s" "ceiling MB/s" "ratio" "peak MB" "rows"
for n in 65536 1048576; do
  for prio in idle normal; do
    engine=$("$bench" engine "$tmp/1g" "$n" "$prio")
    ceiling=$("$bench" ceiling "$tmp/1g" "$n")
    e=$(echo "$engine" | figure mb_per_s)
    c=$(echo "$ceiling" | figure mb_per_s)
    printf '%-9s %-8s %-13s %-13s %-7s %-9s %s\n' "$n" "$prio" "$e" "$c" "$(echo "scale=2; $e / $c" | bc)" \
      "$(echo "$engine" | figure peak_memory_mb)" "$(echo "$engine" | figure rows)"
  done
done
rm -rf "$tmp/1g"

"$bench" generate "$tmp/4g" 4 >/dev/null
engine=$("$bench" engine "$tmp/4g" 65536 normal)
echo "4 GB run at N = 65536 (normal priority): $(echo "$engine" | figure mb_per_s) MB/s, peak memory" \
  "$(echo "$engine" | figure peak_memory_mb) MB, $(echo "$engine" | figure rows) rows"
echo "machine after the runs: load average $(cut -d' ' -f1-3 /proc/loadavg)"
