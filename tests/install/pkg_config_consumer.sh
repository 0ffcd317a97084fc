#!/bin/bash
# Builds the consumer with a plain compiler call and what pkg-config says, and runs it.
set -euo pipefail

prefix=$1 libdir=$2 compiler=$3 source=$4 folder=$5 version=$6

export PKG_CONFIG_PATH=$libdir/pkgconfig
pkg-config --exact-version="$version" trox-daq
mkdir -p "$folder"
read -ra flags <<< "$(pkg-config --cflags --libs trox-daq)"
"$compiler" -std=c++17 -Wall -Wextra -Werror -o "$folder/consumer" "$source" "${flags[@]}"

# As README tells: a program that knows where the libraries are.
"$compiler" -std=c++17 -o "$folder/consumer_with_path" "$source" "${flags[@]}" \
  -Wl,-rpath,"$(pkg-config --variable=libdir trox-daq)"
env -u LD_LIBRARY_PATH "$folder/consumer_with_path" "$folder/run_with_path"

# A program finds the libraries in a folder of its own choice; that they find each other is theirs.
LD_LIBRARY_PATH=$libdir "$folder/consumer" "$folder/run"
ldd_output=$(LD_LIBRARY_PATH=$libdir ldd "$folder/consumer")
for library in trox trox_daq trox_writer TROXXML TROXevutl; do
  if ! grep -qE "lib$library\.so\.[0-9]+ => $prefix/" <<< "$ldd_output"; then
    echo "lib$library does not come from $prefix:" >&2
    echo "$ldd_output" >&2
    exit 1
  fi
done
