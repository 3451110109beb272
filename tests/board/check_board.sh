#!/usr/bin/env bash
# Shows on a Debian workstation, without a board, that kavrel works on one:
#   tests/board/check_board.sh [--strict] [STEP...]
# Each step says whether it ran. One that cannot run on this machine says why, and fails the check
# only with --strict. All steps take half an hour; the arm64 programs run under qemu-user.
set -uo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
repository="$PWD"
native="$repository/build"
cross="$repository/build-aarch64-linux-gnu"
arm64_root="$repository/build-arm64-root"
scratch="$(mktemp -d)"
# The tests' own programs and folders must not depend on who runs this.
unset LD_LIBRARY_PATH KAVREL_TEST_PROGRAM CCACHE_BASEDIR

steps=(build interface unit_tests cases loader reproducible given_library plate)
declare -A title=(
  [build]="cross-build and packages, as the README has it"
  [interface]="records and functions of librknnrt.so, on both architectures"
  [unit_tests]="unit tests on arm64"
  [cases]="whole-program tests: arm64 leaves the same bytes as amd64"
  [loader]="what the loader says about a bad librknnrt.so, as docs/board.md has it"
  [reproducible]="a second build elsewhere gives the same packages"
  [given_library]="a build against a runtime that is there, as on the board"
  [plate]="one real plate on arm64, with ONNX Runtime"
)

say() { echo "$@"; }
cannot() {
  echo "$1"
  exit 77
}
# The README's command, so that it is the one that was tried.
readme_has() { grep -qxF -- "$1" README.md || { echo "not in the README: $1" && exit 1; }; }

need_cross_build() { [[ -x $cross/kavrel ]] || cannot "there is no cross-build"; }

arm64() { qemu-aarch64-static -L "$arm64_root" "$@"; }

step_build() {
  command -v apt-get >/dev/null || cannot "this is no Debian"
  readme_has "packaging/cross_build.sh"
  tools/setup.sh tests
  cmake --preset dev
  ninja -C "$native" --quiet
  packaging/cross_build.sh
  cmake --preset aarch64-linux-gnu -DKAVREL_TESTS=ON
  ninja -C "$cross" kavrel scripted_rknnrt interface_layout unit_tests scripted_runtime_test
  file "$cross/installed/kavrel" | grep 'ARM aarch64'
  say "$(cd "$cross/packages" && stat -c '%n %s bytes' -- * | paste -sd ';')"
}

step_interface() {
  need_cross_build
  "$native/tests/interface/interface_layout" >"$scratch/layout.amd64"
  arm64 "$cross/tests/interface/interface_layout" >"$scratch/layout.arm64"
  for architecture in amd64 arm64; do
    diff tests/interface/layout.txt "$scratch/layout.$architecture"
  done
  for program in "$native/kavrel" "$cross/kavrel" "$cross/installed/kavrel"; do
    cmake -DNM=nm -DBINARY="$program" -DSYMBOLS=undefined -P tests/interface/check_functions.cmake
  done
  say "$(grep -c '^ ' tests/interface/layout.txt) fields and seven functions are the same"
}

step_unit_tests() {
  need_cross_build
  local tests
  for tests in unit/unit_tests scripted_runtime/scripted_runtime_test; do
    arm64 "$cross/tests/$tests" >"$scratch/tests" 2>&1 ||
      { grep -E '^\[  FAILED' "$scratch/tests" && exit 1; }
    grep -E '^\[  PASSED' "$scratch/tests"
  done | grep -oE '[0-9]+ tests' | paste -sd ,
}

step_cases() {
  need_cross_build
  export BOTH_REPORT="$scratch/both" BOTH_NATIVE="$native/kavrel"
  export BOTH_FOREIGN="qemu-aarch64-static -L $arm64_root \
    -E LD_LIBRARY_PATH=$cross/scripted_runtime $cross/kavrel"
  export KAVREL_TEST_PROGRAM="$repository/tests/program/run_both.sh"
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
  say "$(wc -l <"$BOTH_REPORT") runs the same in all but pictures," \
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
  need_cross_build
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
  say "missing, of another architecture and too old: as documented; a good one in lib/kavrel works"
}

step_reproducible() {
  need_cross_build
  cmake --preset aarch64-linux-gnu -DKAVREL_TESTS=OFF
  ninja -C "$cross" package
  local copy="$scratch/elsewhere/kavrel"
  mkdir -p "$copy"
  git ls-files -z | xargs -0 cp --parents -t "$copy"
  cp -rL third_party "$copy/"
  export CCACHE_DISABLE=1
  SOURCE_DATE_EPOCH="$(git log -1 --format=%ct)"
  export SOURCE_DATE_EPOCH
  cd "$copy"
  cmake --preset aarch64-linux-gnu -DKAVREL_ARM64_ROOT="$arm64_root"
  ninja -C build-aarch64-linux-gnu package
  (cd "$cross/packages" && sha256sum -- *) >"$scratch/sums"
  (cd build-aarch64-linux-gnu/packages && sha256sum --check "$scratch/sums")
  say "$(wc -l <"$scratch/sums") packages have the same bytes"
}

step_given_library() {
  local vendor="$scratch/vendor/librknnrt.so" configure="cmake -B build -G Ninja"
  readme_has "$configure -DKAVREL_RKNNRT_LIBRARY=/usr/lib/librknnrt.so"
  readme_has "cmake --build build"
  mkdir -p "$scratch/vendor" "$scratch/board"
  cp "$native/scripted_runtime/librknnrt.so" "$vendor"
  git ls-files -z | xargs -0 cp --parents -t "$scratch/board"
  cd "$scratch/board"
  $configure -DKAVREL_RKNNRT_LIBRARY="$vendor" -DKAVREL_REPORT=OFF
  cmake --build build --target package
  build/kavrel --help
  readelf -d build/kavrel | grep 'NEEDED.*\[librknnrt.so\]'
  [[ ! -e build/host_runtime ]]
  [[ "$(echo build/packages/*.deb)" == build/packages/kavrel_*.deb ]]
  say "builds, runs and packs without ONNX Runtime, GoogleTest and a second librknnrt.so"
}

step_plate() {
  need_cross_build
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
  say "$(tail -n 1 "$scratch/plate.arm64/summary.csv"), $same on both architectures"
}

strict=false
chosen=()
for argument in "$@"; do
  if [[ $argument == --strict ]]; then
    strict=true
  elif [[ -n ${title[$argument]:-} ]]; then
    chosen+=("$argument")
  else
    echo "Usage: tests/board/check_board.sh [--strict] [STEP...]; steps are ${steps[*]}" >&2
    exit 1
  fi
done
((${#chosen[@]} > 0)) || chosen=("${steps[@]}")

failed=0 not_run=0
for name in "${chosen[@]}"; do
  echo "== $name: ${title[$name]}"
  (set -e; "step_$name") >"$scratch/$name.log" 2>&1
  case $? in
    0) echo "   ran: $(tail -n 1 "$scratch/$name.log")" ;;
    77)
      echo "   DID NOT RUN: $(tail -n 1 "$scratch/$name.log")"
      not_run=$((not_run + 1))
      ;;
    *)
      echo "   FAILED:"
      tail -n 30 "$scratch/$name.log" | sed 's/^/   | /'
      failed=$((failed + 1))
      ;;
  esac
done

rm -rf --one-file-system "$scratch"
echo "== ${#chosen[@]} steps, $failed failed, $not_run did not run"
((failed == 0)) && { ((not_run == 0)) || ! $strict; }
