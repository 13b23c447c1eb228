# Sourced by ./run, ./test and .ci/run, after setup.sh and in the project's folder: configuring, building and testing
# one preset of CMakePresets.json in build/PRESET.

# quietly LOG COMMAND...: its output goes to LOG, and the end of it to standard error when it fails.
quietly() {
  local log=$1 status=0
  shift
  "$@" >"$log" 2>&1 </dev/null || status=$?
  if [ $status != 0 ]; then
    grep -vE '^\[[0-9]+/[0-9]+\] ' "$log" | tail -n 80 >&2
    say "Failed ($status): $*"
  fi
  return $status
}

# configure_preset PRESET [-DNAME=VALUE...]. It takes a moment when nothing has changed, and sees new files and folders.
configure_preset() {
  mkdir -p "build/$1"
  quietly "build/$1/configure.log" cmake --preset "$@"
}

# build_preset PRESET [TARGET...]
build_preset() {
  local preset=$1
  shift
  [ -f "build/$preset/.built" ] || say "Building in build/$preset; the first time takes a while"
  quietly "build/$preset/build.log" ninja -C "build/$preset" "$@" && touch "build/$preset/.built"
}

# test_preset PRESET [CTEST-OPTION...]: runs the tests, shows the failing ones, and leaves the numbers in
# tests_passed, tests_failed and tests_skipped. Fails when a test failed or none ran.
test_preset() {
  local dir=build/$1 status=0 log counts
  shift
  log=$dir/Testing/Temporary/LastTest.log
  rm -f "$log"
  ctest --test-dir "$dir" --output-on-failure --no-tests=error --timeout 600 -j "$(nproc)" "$@" \
    >"$dir/test.log" 2>&1 </dev/null || status=$?
  [ $status = 0 ] || grep -vE '^ *(Start +[0-9]+:|[0-9]+/[0-9]+ Test +#[0-9]+: .* Passed )' "$dir/test.log" | tail -n 200 >&2
  counts=$(count_tests "$log")
  read -r tests_passed tests_failed tests_skipped <<<"$counts"
  [ $status = 0 ] || [ "$tests_failed" != 0 ] || tests_failed=1
  [ "$tests_failed" = 0 ] && [ "$tests_passed" != 0 ]
}

# Sums up ctest's log: the tests of a GoogleTest program are counted by what it says, any other program is one test.
count_tests() {
  [ -f "$1" ] || { echo 0 1 0; return; }
  awk '
    function close_test() {
      if (!open) return
      if (!gtest) { if (ok) passed++; else failed++ }
      else if (!ok && !bad) failed++
      open = 0
    }
    /^[0-9]+\/[0-9]+ Testing: / { close_test(); open = 1; gtest = bad = ok = 0 }
    /^\[  PASSED  \] [0-9]+ test/ { gtest = 1; passed += $4 }
    /^\[  SKIPPED \] [0-9]+ test/ { gtest = 1; skipped += $4 }
    /^\[  FAILED  \] [0-9]+ test.*listed below/ { gtest = 1; bad = 1; failed += $4 }
    /^Test Passed\./ { ok = 1 }
    /Test Skipped|Skip(ped)? regular expression/ { ok = 1 }
    END { close_test(); print passed + 0, failed + 0, skipped + 0 }' "$1"
}

# The closing line of a run: passed, failed, skipped.
summary_line() {
  if [ "${3:-0}" = 0 ]; then printf '%d passed, %d failed\n' "$1" "$2"; else printf '%d passed, %d failed, %d skipped\n' "$1" "$2" "$3"; fi
}
