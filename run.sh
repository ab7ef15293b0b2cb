#!/usr/bin/env bash
# Installs what is missing, builds (release preset) and runs the main job on the built-in
# demonstration recording: analysed into a project and a PNG, then, when a display is
# present ($DISPLAY or $WAYLAND_DISPLAY), shown in the desktop application.
set -euo pipefail
cd "$(dirname "$0")"
./scripts/setup.sh
cmake --preset release >/dev/null
cmake --build --preset release
cli=build/release/src/cli/vexlor-cli
demo=build/demo
"$cli" demo "$demo"
first=$(ls "$demo"/*" 000.wav" | head -n 1)
"$cli" info "$first"
# The demonstration recording analysed into a project and a PNG.
project="$demo/Vexlor Demo (Project).xml"
image="$demo/Vexlor Demo.png"
"$cli" analyse "$first" --fft 8192 --window hann --width 1600 --height full \
  --project "$project" --image "$image"
echo "Project written to: $(realpath "$project")"
echo "Picture written to: $(realpath "$image")"
if [ -n "${DISPLAY:-}" ] || [ -n "${WAYLAND_DISPLAY:-}" ]; then
  echo "Opening the project in the desktop application"
  exec build/release/src/app/vexlor "$project"
fi
