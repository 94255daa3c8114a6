#!/bin/bash
# The scripts, each in a tree of its own whose project builds at once: what they install, build, start and stop.
#
#   scripts_test.sh REPOSITORY
#
# shellcheck disable=SC2016 # bodies of stubs
# shellcheck disable=SC2065 # scripts/test is not the command of conditions
set -euo pipefail
repository=$1
work=$(mktemp -d)
trap 'rm -rf -- "$work"' EXIT
unset "${!CTEST_@}" "${!CMAKE_@}" "${!GIT_@}"
faults=0

expect() { # WHAT EXPECTED ACTUAL
  [[ $3 != "$2" ]] || return 0
  printf 'FAILED %s\n  expected: %s\n  actual:   %s\n' "$1" "$2" "$3" >&2
  faults=$((faults + 1))
}

stub() { # FILE, its body on the input
  mkdir -p -- "$(dirname -- "$1")"
  { echo '#!/bin/bash' && cat; } >"$1"
  chmod +x -- "$1"
}

# A tree with the real presets and scripts; what is called writes a line to $CALLS.
make_tree() {
  tree=$work/$1
  export CALLS=$tree/calls TEST_PID=$$
  mkdir -p "$tree/scripts"
  cp "$repository"/CMakePresets.json "$tree"
  cp "$repository"/scripts/{check,make-certificate,package,run,test} "$tree/scripts"
  cat >"$tree/CMakeLists.txt" <<'CMAKE'
cmake_minimum_required(VERSION 3.25)
project(evidence LANGUAGES NONE)
file(COPY evidence-host DESTINATION ${CMAKE_BINARY_DIR}/bin)
include(CTest)
if(BUILD_TESTING)
  add_test(NAME one_test COMMAND true)
endif()
include(CPack)
CMAKE
  stub "$tree/scripts/deps" <<<'echo "deps $*" >>"$CALLS"'
  stub "$tree/scripts/fuzz" <<<'echo "fuzz $*" >>"$CALLS"'
  stub "$tree/evidence-host" <<<'echo "host $*" >>"$CALLS"; [[ ! ${SERVE:-} ]] || exec tail --pid="$TEST_PID" -f /dev/null'
  stub "$tree/scripts/private-postgres" <<'STUB'
echo "postgres $1" >>"$CALLS"
[[ $1 != start ]] || echo "host=S user=postgres"
[[ $1 != stop ]] || awk -v caller="$PPID" -v own=$$ '/^Pid:/ {pid = $2} /^State:/ {state = $2}
  /^PPid:/ && $2 == caller && pid != own && state != "Z" {print "alive"}' /proc/[0-9]*/status >>"$CALLS" 2>/dev/null
true
STUB
}

calls() { # those of the calls so far that match PATTERN, as one line
  grep -E -- "$1" "$CALLS" | paste -sd ';' || true
  : >"$CALLS"
}

test_settings_file_decides_about_the_data_folder() {
  make_tree settings
  echo 'database = host=F' >"$tree/F"
  echo 'log_level = 1' >"$tree/G"
  cd "$tree"
  local line
  for line in "--database X --config F" "--config F --database X" "--config=F --database=X" "--database=X --config=G" \
    "--config F"; do
    # shellcheck disable=SC2086 # words
    scripts/run $line
    expect "scripts/run $line" "host $line" "$(calls '^(host|postgres)')"
  done
  local private="--database host=S user=evidence_app --setup-database host=S user=postgres"
  scripts/run --config G
  expect "a file without a database" "postgres start;host $private --config G;postgres stop" "$(calls '^(host|postgres)')"
  scripts/run --database X
  expect "no file" "host --data $tree/var --database X" "$(calls '^(host|postgres)')"
}

test_tls_has_a_pair_that_is_made_once() {
  make_tree tls
  cd "$tree"
  local pair="--tls-certificate $tree/var/tls/certificate.pem --tls-key $tree/var/tls/key.pem" before
  scripts/run --database X --tls --listen L 2>/dev/null
  expect "scripts/run --tls" "host --data $tree/var $pair --database X --listen L" "$(calls '^host')"
  before=$(cat var/tls/*.pem)
  scripts/run --tls --database X
  expect "the second run" "$before" "$(cat var/tls/*.pem)"
  scripts/run --database X
  expect "without it" "host --data $tree/var --database X" "$(calls '^host' | sed 's/.*;//')"
}

# Sends SIGTERM at each command of scripts/run, up to the one that waits for the host; one that follows the start of the
# host comes when the host serves.
test_no_signal_stops_postgres_under_the_host() {
  make_tree signals
  cd "$tree"
  scripts/run
  stub bin/cmake <<<true
  cat >at-command <<'ENV'
unset BASH_ENV
set -o functrace
count=0
trap 'if [[ $BASHPID == $$ ]] && ((++count == SIGNAL_AT)); then
    [[ ! ${!:-} ]] || until grep -q "^host" "$CALLS"; do :; done
    kill -TERM $$
  fi
  if [[ $BASH_COMMAND == wait* ]]; then echo "$count" >waits-at; fi' DEBUG
ENV
  export BASH_ENV=$PWD/at-command
  SIGNAL_AT=0 PATH=$PWD/bin:$PATH scripts/run
  local last at served=0 code
  last=$(<waits-at)
  : >"$CALLS"
  for ((at = 1; at <= last; ++at)); do
    code=0
    { SERVE=1 SIGNAL_AT=$at PATH=$PWD/bin:$PATH timeout 60 scripts/run </dev/null; } >/dev/null 2>&1 || code=$?
    expect "code after a signal at command $at" 143 "$code"
    ! grep -q '^host' "$CALLS" || served=1
    local did
    did=$(calls '^(postgres|alive)')
    [[ ! $did ]] || expect "calls after a signal at command $at" "postgres start;postgres stop" "$did"
  done
  unset BASH_ENV
  expect "a host was started and stopped" 1 "$served"
}

test_preset_release_stays_as_it_is() {
  make_tree presets
  cd "$tree"
  stub bin/cpack <<<'[[ $1 == --config && -e $2 ]] && touch "$4/evidence-host.deb"'
  scripts/run
  PATH=$PWD/bin:$PATH scripts/package >package.log
  expect "the package" "$tree/build/package/evidence-host.deb" "$(<package.log)"
  { cmake --preset release && cmake --build --preset release; } >release.log 2>&1
  ctest --preset release >release.log || true
  expect "tests of the preset release" 1 "$(grep -c '100% tests passed' release.log)"
  expect "what was installed" "deps run;deps package" "$(calls '^deps')"
}

test_only_a_whole_run_is_followed_by_fuzzing() {
  make_tree fuzzing
  cd "$tree"
  scripts/test -R one_test >/dev/null 2>&1
  expect "scripts/test -R" "deps test" "$(calls '')"
  scripts/test >/dev/null 2>&1
  expect "scripts/test" "deps test;fuzz 20" "$(calls '')"
  stub scripts/try-metrics <<<'echo "metrics" >>"$CALLS"'
  stub scripts/try-files <<<'echo "files" >>"$CALLS"'
  scripts/test --all >/dev/null 2>&1
  expect "scripts/test --all" "deps test all;fuzz 20;metrics;files" "$(calls '')"
}

# scripts/deps on a system that has the packages in $INSTALLED.
installs() {
  rm -f "$CALLS"
  PATH=$tree/bin:$PATH "$repository/scripts/deps" "$@" 2>/dev/null
  [[ ! -e $CALLS ]] || sed -n 's/.*apt-get.* install [^ ]* *//p' "$CALLS" | tr ' ' '\n' | sort
}

test_each_script_installs_what_it_needs() {
  make_tree deps
  stub "$tree/bin/sudo" <<<'[[ $1 != -n ]] || shift; exec "$@"'
  stub "$tree/bin/env" <<<'echo "$*" >>"$CALLS"'
  stub "$tree/bin/dpkg-query" <<<'for name in "${@:4}"; do [[ " $INSTALLED " != *" $name "* ]] || echo "$name installed"; done'
  export INSTALLED=
  local run test check
  run=$(installs run)
  test=$(installs test)
  check=$(installs check)
  local beyond='clang|gtest|gmock|benchmark|shellcheck|yaml|dpkg-dev|^curl$'
  expect "beyond what running needs" "" "$(grep -E "$beyond" <<<"$run" || true)"
  expect "beyond what testing needs" "" "$(grep -E 'tidy|format|benchmark|shellcheck|dpkg-dev' <<<"$test" || true)"
  expect "the larger sets hold the smaller" "" "$(comm -23 <(echo "$run") <(echo "$test"))$(comm -23 <(echo "$test") <(echo "$check"))"
  expect "the sets differ" 3 "$(printf '%s\n' "${run//$'\n'/ }" "${test//$'\n'/ }" "${check//$'\n'/ }" | sort -u | wc -l)"
  expect "all" "" "$(comm -23 <(printf '%s\n' "$check" dpkg-dev wrk | sort) <(installs))"
  INSTALLED=$(paste -sd ' ' <<<"$run")
  expect "nothing is missing" "" "$(installs run)$(cat "$CALLS" 2>/dev/null)"
  INSTALLED=${INSTALLED/g++/}
  expect "one is missing" g++ "$(installs run)"
  local code=0
  "$repository/scripts/deps" nothing 2>/dev/null || code=$?
  expect "an unknown set" 2 "$code"
}

test_check_runs_all_steps_and_names_those_that_fail() {
  make_tree check
  cd "$tree"
  git init -q
  git add scripts/run
  stub bin/clang-format <<<'echo "a.cpp:1: not formatted" >&2; exit 1'
  stub bin/shellcheck <<<'echo "shellcheck ${*: -1}" >>"$CALLS"'
  local code=0
  PATH=$PWD/bin:$PATH scripts/check format words shell >log 2>&1 || code=$?
  expect "code" 1 "$code"
  expect "failed steps" "check: failed: format" "$(tail -n 1 log)"
  expect "steps" "deps check;shellcheck scripts/run" "$(calls '')"
  printf 'as the %s says\n' spec >notes
  git add notes
  expect "words" "notes:1:as the spe""c says" "$(scripts/check words 2>/dev/null | grep notes)"
  git reset -q notes
  code=0
  scripts/check words none 2>/dev/null || code=$?
  expect "an unknown step" 2 "$code"
}

for name in $(declare -F | sed -n 's/^declare -f \(test_.*\)/\1/p'); do
  before=$faults
  "$name"
  echo "$name: $((faults - before)) faults"
done
((faults == 0))
