#!/usr/bin/env bash
# Runs the whole host test suite once under valgrind's memcheck: every test program of the host
# build once with all its tests (with the environment and working folder the test list gives
# it), and every other test command as it stands. Any error valgrind reports, or a definite
# leak, fails the run (--error-exitcode=1), and so does a failing test.
# Usage: scripts/valgrind.sh [PATTERN]   (only the programs whose name matches PATTERN)
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

# The test commands, one line each: a program with all its tests, or a command as it stands.
# Fields are separated by tabs: working folder, environment (blank-separated, "-" for none),
# command words.
# The checks that run cmake scripts (the exported names) run no code of the library.
list="$(mktemp)"
trap 'rm -f "$list"' EXIT
ctest --preset host --show-only=json-v1 | python3 -c '
import json, sys
seen = set()
for test in json.load(sys.stdin)["tests"]:
    command = test.get("command") or []
    if not command or command[0].endswith("/cmake"):
        continue
    props = {p["name"]: p["value"] for p in test.get("properties", [])}
    if any(word.startswith("--gtest_filter=") for word in command):
        command = command[:1]
    key = tuple(command)
    if key in seen:
        continue
    seen.add(key)
    print("\t".join([props.get("WORKING_DIRECTORY", "."),
                     " ".join(props.get("ENVIRONMENT", [])) or "-"] + command))
' >"$list"

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

failed=()
count=0
while IFS=$'\t' read -r folder environment program arguments; do
    name="$(basename "$program")"
    [[ "$name" =~ $pattern ]] || continue
    count=$((count + 1))
    echo "== $name"
    read -r -a words <<<"${arguments:-}"
    settings=()
    [ "$environment" = "-" ] || read -r -a settings <<<"$environment"
    if ! (cd "$folder" && env "${settings[@]}" valgrind "${valgrind_options[@]}" \
            "$program" "${words[@]}" </dev/null >"$logs/$name.log" 2>&1); then
        tail -n 60 "$logs/$name.log"
        failed+=("$name")
    fi
done <"$list"

if [ ${#failed[@]} -gt 0 ]; then
    echo "== FAILED under valgrind: ${failed[*]} (logs in build/host/valgrind/)"
    exit 1
fi
echo "== $count test programs passed under valgrind (logs in build/host/valgrind/)"
