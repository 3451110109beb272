#!/usr/bin/env bash
# Shows on a Debian workstation, without a board, that kavrel works on one:
#   tests/board/check_board.sh [STEP...]
#   build    cross-build and packages
#   tests    on arm64: unit tests, and the records and functions of librknnrt.so
#   cases    whole-program tests: arm64 leaves the same bytes as amd64
#   loader   what the loader says about a bad librknnrt.so, as docs/board.md has it
#   plate    one real plate on arm64, with ONNX Runtime
# Without a step all of them, which takes half an hour; the others want that `build` has run. The
# arm64 programs run under qemu-user.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
repository="$PWD"
native="$repository/build"
cross="$repository/build-aarch64-linux-gnu"
arm64_root="$repository/build-arm64-root"
scratch="$(mktemp -d)"
trap 'rm -rf --one-file-system "$scratch"' EXIT
# The tests' own programs and folders must not depend on who runs this.
unset LD_LIBRARY_PATH KAVREL_TEST_PROGRAM CCACHE_BASEDIR

arm64() { qemu-aarch64-static -L "$arm64_root" "$@"; }

step_build() {
  tools/setup.sh tests
  cmake --preset dev
  ninja -C "$native" --quiet
  packaging/cross_build.sh
  cmake --preset aarch64-linux-gnu -DKAVREL_TESTS=ON -DKAVREL_TEST_PARTS="$(nproc)"
  ninja -C "$cross" kavrel scripted_rknnrt interface_layout unit_tests scripted_runtime_test
  file "$cross/installed/kavrel" | grep 'ARM aarch64'
  (cd "$cross/packages" && stat -c '%n %s bytes' -- *)
}

step_tests() {
  local folder
  for folder in interface scripted_runtime unit; do
    ctest --test-dir "$cross/tests/$folder" --no-tests=error --output-on-failure \
      --parallel "$(nproc)"
  done
}

step_cases() {
  export BOTH_REPORT="$scratch/both" BOTH_NATIVE="$native/kavrel"
  export BOTH_FOREIGN="qemu-aarch64-static -L $arm64_root \
    -E LD_LIBRARY_PATH=$cross/scripted_runtime $cross/kavrel"
  export KAVREL_TEST_PROGRAM="$repository/tests/board/run_both.sh"
  local shard shards=() count
  count="$(nproc)"
  for ((shard = 0; shard < count; ++shard)); do
    GTEST_TOTAL_SHARDS="$count" GTEST_SHARD_INDEX="$shard" \
      "$native/tests/program/program_test" --gtest_brief=1 &
    shards+=($!)
  done
  for shard in "${shards[@]}"; do wait "$shard"; done
  if grep -v '^same' "$BOTH_REPORT"; then exit 1; fi
  local pictures others
  pictures="$(sed -n 's/^same but for //p' "$BOTH_REPORT" | tr ' ' '\n' | sort -u)"
  others="$(sed -E '/clahe|_up[0-9]+x/d' <<<"$pictures" | xargs)"
  echo "$(wc -l <"$BOTH_REPORT") runs the same in all but pictures," \
    "$(grep -cx 'same' "$BOTH_REPORT") of them in these too; pictures that differ:" \
    "$(grep -cE 'clahe|_up[0-9]+x' <<<"$pictures") of CLAHE or enlargement, others: ${others:-none}"
}

# One line of the loader, which must stand in the document.
loader_says() { # WORDS OF THE MESSAGE
  local message status=0
  message="$(arm64 -0 kavrel "$scratch/loader/bin/kavrel" --help 2>&1)" || status=$?
  echo "status $status: $message"
  [[ $status == 127 && $message == *"$1"* ]]
  grep -qxF -- "$message" docs/board.md
}

step_loader() {
  local library="$scratch/loader/lib/kavrel/librknnrt.so"
  mkdir -p "$scratch/loader/bin" "$(dirname "$library")"
  cp "$cross/installed/kavrel" "$scratch/loader/bin/"
  loader_says "librknnrt.so: cannot open shared object file"
  cp "$native/scripted_runtime/librknnrt.so" "$library"
  loader_says "librknnrt.so: cannot open shared object file"
  for function in init query inputs_set run outputs_get destroy; do
    echo "int rknn_$function(void) { return 0; }"
  done | aarch64-linux-gnu-gcc -shared -fPIC -Wl,-soname,librknnrt.so -x c -o "$library" -
  loader_says "undefined symbol: rknn_outputs_release"
  cp "$cross/scripted_runtime/librknnrt.so" "$library"
  arm64 "$scratch/loader/bin/kavrel" --help
  echo "missing, of another architecture and too old: as documented; a good one in lib/kavrel works"
}

step_plate() {
  local list="$scratch/plate.csv" networks=(
    --plate-corner-model models/reference/plate_corner.onnx
    --ppocr-det-model models/reference/plate_text.onnx
    --ppocr-rec-model models/reference/plate_rec.onnx
    --ocr-dict dict/plate_rec_dict.txt)
  head -n 2 samples/rendered/rendered_expected.csv >"$list"
  "$native/kavrel" "${networks[@]}" --input-list "$list" --output-dir "$scratch/plate.amd64"
  arm64 "$cross/kavrel" "${networks[@]}" --input-list "$list" --output-dir "$scratch/plate.arm64" \
    --fail-on-error
  diff "$scratch"/plate.{amd64,arm64}/summary.csv
  local same="the same readings"
  diff "$scratch"/plate.{amd64,arm64}/frame_summary.csv || same="not all of the same readings"
  echo "$(tail -n 1 "$scratch/plate.arm64/summary.csv"), $same on both architectures"
}

steps=("$@")
((${#steps[@]} > 0)) || steps=(build tests cases loader plate)
for step in "${steps[@]}"; do
  echo "== $step"
  "step_$step"
done
echo "== passed: ${steps[*]}"
