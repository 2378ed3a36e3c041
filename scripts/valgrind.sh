#!/usr/bin/env bash
# Runs the whole host test suite once under valgrind's memcheck: every test program of the host
# build once with all its tests (with the environment and working folder the test list gives
# it), and every zvtool case with each run of the tool under valgrind. Any error valgrind
# reports, or a definite leak, fails the run (--error-exitcode=1), and so does a failing test.
# Usage: scripts/valgrind.sh [PATTERN]   (only the programs and cases whose name matches PATTERN)
set -euo pipefail
cd "$(dirname "$0")/.."

source scripts/need-packages.sh
need_packages cmake ninja-build g++ pkg-config libgtest-dev valgrind python3

pattern="${1:-.}"
mkdir -p build
echo "== host: configure, build"
cmake --preset host >build/host-configure.log 2>&1 || { cat build/host-configure.log; exit 1; }
rm -f build/host-configure.log
cmake --build --preset host -j "$(nproc)"
logs="$PWD/build/host/valgrind"
mkdir -p "$logs"

# - leaks: only definite ones fail the run (memory still reachable at exit, such as the error
#   history's holder or GoogleTest's own, does not);
# - somalloc=nouserintercepts: valgrind replaces the allocation functions of libc and libstdc++
#   but leaves alone those a test program defines itself (one replaces the nothrow operator new
#   to make it fail, and passes every other call on to the real one);
# - the test programs that fork (a writer killed with SIGKILL, a check run as another user, two
#   writers at once) need nothing more: a forked child stays under valgrind, reports its own
#   errors and exits with 1 on one, which its parent test sees; a killed child reports nothing.
valgrind_options=(
    --error-exitcode=1
    --leak-check=full --errors-for-leak-kinds=definite --show-leak-kinds=definite
    --soname-synonyms=somalloc=nouserintercepts
    --suppressions="$PWD/scripts/valgrind.supp"
    --quiet
)

# The test commands, one line each, fields separated by tabs: a name for the log, how to run it,
# working folder, environment (blank-separated, "-" for none), command words.
# - "valgrind": a test program, once with all its tests, under valgrind;
# - "as-is": a zvtool case, run as it stands with valgrind as the tool's emulator, so every run
#   of the tool is checked; valgrind is quiet unless it finds an error, and then its report and
#   exit status change the transcript and fail the case.
# The other checks that run cmake scripts (the exported names, the install and package checks)
# run no code of the library.
list="$(mktemp)"
trap 'rm -f "$list"' EXIT
emulator="$(IFS=';'; echo "valgrind;${valgrind_options[*]}")"
ctest --preset host --show-only=json-v1 | EMULATOR="$emulator" python3 -c '
import json, os, sys
seen = set()
for test in json.load(sys.stdin)["tests"]:
    command = test.get("command") or []
    props = {p["name"]: p["value"] for p in test.get("properties", [])}
    if not command:
        continue
    if command[0].endswith("/cmake"):
        if not any(word.endswith("/RunCase.cmake") for word in command):
            continue
        mode = "as-is"
        command = ["-DEMULATOR=" + os.environ["EMULATOR"] if word.startswith("-DEMULATOR=")
                   else word for word in command]
        name = test["name"]
    else:
        mode = "valgrind"
        if any(word.startswith("--gtest_filter=") for word in command):
            command = command[:1]
        name = os.path.basename(command[0])
    key = tuple(command)
    if key in seen:
        continue
    seen.add(key)
    print("\t".join([name, mode, props.get("WORKING_DIRECTORY", "."),
                     " ".join(props.get("ENVIRONMENT", [])) or "-"] + command))
' >"$list"

failed=()
count=0
while IFS=$'\t' read -r name mode folder environment program arguments; do
    [[ "$name" =~ $pattern ]] || continue
    count=$((count + 1))
    echo "== $name"
    words=()
    settings=()
    [ -z "${arguments:-}" ] || IFS=$'\t' read -r -a words <<<"$arguments"
    [ "$environment" = "-" ] || read -r -a settings <<<"$environment"
    runner=()
    [ "$mode" = "as-is" ] || runner=(valgrind "${valgrind_options[@]}")
    if ! (cd "$folder" && env "${settings[@]}" "${runner[@]}" "$program" "${words[@]}" \
            </dev/null >"$logs/$name.log" 2>&1); then
        tail -n 60 "$logs/$name.log"
        failed+=("$name")
    fi
done <"$list"

if [ ${#failed[@]} -gt 0 ]; then
    echo "== FAILED under valgrind: ${failed[*]} (logs in build/host/valgrind/)"
    exit 1
fi
echo "== $count test programs and zvtool cases passed under valgrind (logs in build/host/valgrind/)"
