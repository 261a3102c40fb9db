#!/usr/bin/env bash
# Installs the build tree into a scratch prefix; the installed console runs a
# statement with a clean environment there and again after the prefix has
# moved; then builds and runs a small program against the installed package
# twice: through find_package and through pkg-config.
# Arguments: build dir, consumer source dir, C++ flags, build type.
set -euo pipefail
build=$1 consumer=$2 flags=$3 type=${4:-Debug}
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

cmake --install "$build" --prefix "$scratch/installed" >/dev/null

# Nothing but the run paths finds the libraries (the leak suppressions of a
# sanitized build go along).
console_runs() {
    local out
    out=$(printf 'x = 7\n' | env -i PATH=/usr/bin:/bin ${LSAN_OPTIONS:+LSAN_OPTIONS=$LSAN_OPTIONS} "$1/bin/qzconsole")
    [ "$out" = $'\nx =\n\n     7' ] || { echo "$1/bin/qzconsole printed: $out"; exit 1; }
}
if [ -x "$scratch/installed/bin/qzconsole" ]; then
    console_runs "$scratch/installed"
    mv "$scratch/installed" "$scratch/moved"
    console_runs "$scratch/moved"
    mv "$scratch/moved" "$scratch/prefix"
else
    mv "$scratch/installed" "$scratch/prefix"
fi

cmake -S "$consumer" -B "$scratch/cmake-build" -G Ninja -DCMAKE_BUILD_TYPE="$type" \
      -DCMAKE_PREFIX_PATH="$scratch/prefix" -DCMAKE_CXX_FLAGS="$flags" \
      -DCMAKE_EXE_LINKER_FLAGS="$flags" >/dev/null
cmake --build "$scratch/cmake-build" >/dev/null
out=$("$scratch/cmake-build/consumer")
[ "$out" = "captured: hello from a host" ] || { echo "find_package consumer printed: $out"; exit 1; }

export PKG_CONFIG_PATH="$scratch/prefix/lib/pkgconfig:$scratch/prefix/lib/x86_64-linux-gnu/pkgconfig"
# The flags name no standard: the consumer's own -std=c++20 stays in force.
# shellcheck disable=SC2046
g++ -std=c++20 -DQZ_EXPECT_CXX20 $flags "$consumer/main.cpp" -o "$scratch/pc-consumer" $(pkg-config --cflags --libs qzservices)
out=$("$scratch/pc-consumer")
[ "$out" = "captured: hello from a host" ] || { echo "pkg-config consumer printed: $out"; exit 1; }
echo "installed package works through find_package and pkg-config"
