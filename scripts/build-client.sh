#!/usr/bin/env bash
# Sourced by the install and package checks: builds one client source file
# against the library under a prefix, through find_package(qorbasic) into
# DIR/build/client and through pkg-config into DIR/pc_client.
#   build_client SOURCE PREFIX DIR
build_client() {
    local source=$1 prefix=$2 dir=$3 flags
    mkdir -p "$dir"
    cp "$source" "$dir/client.cc"
    cat >"$dir/CMakeLists.txt" <<'CM'
cmake_minimum_required(VERSION 3.16)
project(qorbasic_client CXX)
find_package(qorbasic REQUIRED)
add_executable(client client.cc)
target_link_libraries(client PRIVATE qorbasic::qorbasic)
CM
    cmake -S "$dir" -B "$dir/build" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
    cmake --build "$dir/build" >/dev/null
    flags=$(PKG_CONFIG_PATH="$prefix/lib/pkgconfig" pkg-config --cflags --libs qorbasic)
    # pkg-config leaves the language standard to the client.
    g++ -std=c++17 "$dir/client.cc" $flags -o "$dir/pc_client"
}
