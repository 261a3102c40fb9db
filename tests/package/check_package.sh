#!/usr/bin/env bash
# The Debian packages as a host developer meets them: unpacked with dpkg -x into
# a scratch root (nothing installed on the machine), the console runs from
# there with a clean environment, and the small consumer and the three example
# hosts shipped in the package build against it with find_package alone and
# print what they should.
# Arguments: the build directory whose package/ folder holds the .deb files.
set -euo pipefail
build=$1
here=$(cd "$(dirname "$0")" && pwd)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
root=$scratch/root

shopt -s nullglob
debs=("$build"/package/*.deb)
[ ${#debs[@]} -eq 2 ] || { echo "expected the runtime and development packages in $build/package, found: ${debs[*]}"; exit 1; }
for deb in "${debs[@]}"; do dpkg -x "$deb" "$root"; done
prefix=$root/usr

fail() { echo "FAIL: $*"; exit 1; }
expect() {  # name, expected text, actual text
    [ "$2" = "$3" ] || { printf 'FAIL: %s\n--- expected\n%s\n--- got\n%s\n' "$1" "$2" "$3"; exit 1; }
}

# The development link belongs to the development package only.
runtime=$(dpkg-deb -c "$build"/package/libqzservices0_*.deb)
grep -q 'libqzservices\.so\.0 ->' <<<"$runtime" || fail "runtime package lacks the soname"
if grep -q 'libqzservices\.so ->' <<<"$runtime"; then fail "runtime package holds the development link"; fi
grep -q 'libqzservices\.so ->' <<<"$(dpkg-deb -c "$build"/package/libqzservices-dev_*.deb)" ||
    fail "development package lacks the development link"
grep -q 'libicu' <<<"$(dpkg-deb -f "$build"/package/libqzservices0_*.deb Depends)" || fail "runtime package does not depend on ICU"
grep -q 'libboost-thread-dev' <<<"$(dpkg-deb -f "$build"/package/libqzservices-dev_*.deb Depends)" ||
    fail "development package does not ask for Boost.Thread"

clean() { env -i PATH=/usr/bin:/bin "$@"; }
version=$(clean "$prefix/bin/qzconsole" --version)
[[ $version =~ ^qzconsole\ [0-9]+\.[0-9]+\.[0-9]+$ ]] || fail "qzconsole --version printed: $version"
# Loaded by its soname from the unpacked tree, the library still finds its own version symbols.
grep -qE '^Version: +[0-9]+(\.[0-9]+)+ \(R2031b\)$' <<<"$(printf 'version\n' | clean "$prefix/bin/qzconsole")" ||
    fail "the installed library shows no version: $(printf 'version\n' | clean "$prefix/bin/qzconsole")"
expect "a statement through a pipe" $'\nx =\n\n     7' "$(printf 'x = 7\n' | clean "$prefix/bin/qzconsole")"

export CMAKE_PREFIX_PATH=$prefix
build_against() {  # source dir, build dir
    cmake -S "$1" -B "$2" -G Ninja -DCMAKE_BUILD_TYPE=Release >"$2.log" 2>&1 &&
        cmake --build "$2" >>"$2.log" 2>&1 || { cat "$2.log"; fail "building $1 against the package"; }
}

build_against "$here/../install/consumer" "$scratch/consumer"
expect "the consumer" "captured: hello from a host" "$(clean "$scratch/consumer/consumer")"

examples=$prefix/share/doc/qzservices/examples
[ -f "$examples/CMakeLists.txt" ] || fail "the package has no examples in $examples"
build_against "$examples" "$scratch/examples"

expect "capture_output" $'captured:\nx = 42\nthrough uvPrintf\nan error line' \
    "$(clean "$scratch/examples/capture_output")"

# The matrix as the long format shows it; the cell as the console shows the same cell.
shown=$(clean "$scratch/examples/display_long")
matrix=$'\nB =\n\n   1.0e+05 *\n\n   0.000002500000000   1.000000000000000  -0.000030000000000\n'
[[ $shown == "$matrix"* ]] || expect "display_long's matrix" "$matrix" "$shown"
console=$(printf "format long\nB = [0.25 1e5 -3]\nc = {pi, 'abc'}\n" | clean "$prefix/bin/qzconsole")
expect "display_long against the console" "$console" "$shown"
[[ $shown == *"3.141592653589793"* && $shown == *"'abc'"* ]] || fail "display_long's cell: $shown"

expect "main_thread_work" $'request 1 ran on the main thread\nrequest 2 ran on the main thread\nrequest 3 ran on the main thread\nall requests done' \
    "$(clean "$scratch/examples/main_thread_work")"
echo "packages unpack, run, and build the consumer and the examples"
