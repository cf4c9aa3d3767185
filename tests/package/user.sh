# Builds the project in this folder with a library that somebody has installed, and runs it. Scripts
# source this in an empty folder, after setting `tree` to where the tree is.

fail() { echo "${0##*/}: $*" >&2; exit 1; }
quiet() { "$@" >log 2>&1 || { cat log >&2; fail "failed: $*"; }; }

# run_user PROGRAM: it writes, reads and walks a cloud.
run_user() {
    rm -f cloud.ptc
    printed=$("$1" cloud.ptc) || fail "$1 fails"
    [ "$printed" = "3 points, area 60, 2 nodes, depth 1" ] || fail "$1 prints: $printed"
}

# build_user FOLDER INCLUDES OPTION...: with CMake. Users get the include folder and the standard
# from the library, and no flags.
build_user() {
    folder=$1 includes=$2
    shift 2
    quiet cmake -G Ninja -S "$tree/tests/package" -B "$folder" "$@"
    printf 'options: \nfolders: %s\nfeatures: cxx_std_20\n' "$includes" >expected.txt
    diff expected.txt "$folder/usage.txt" >&2 ||
        fail "$folder: the library has its users compiled in another way (<: expected)"
    quiet cmake --build "$folder"
    run_user "$folder/package_user"
    quiet "$folder/package_example" cloud.ptc _area
}

# build_with_pkg_config PROGRAM
build_with_pkg_config() {
    flags=$(pkg-config --cflags --libs ptc) || fail "pkg-config does not find ptc"
    quiet g++ -std=c++20 "$tree/tests/package/main.cpp" $flags -o "$1"
}
