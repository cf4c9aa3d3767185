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

# run_c_user PROGRAM: it prints the cloud that run_user has made.
run_c_user() {
    printed=$("$1" cloud.ptc) || fail "$1 fails"
    wanted="3 points, 2 nodes, float _area at 0, area 10, area 20, area 30, point 0 at 0, point 1 at 1"
    [ "$printed" = "$wanted" ] || fail "$1 prints: $printed"
}

# check_plugin FILE: a host that has not heard of the library loads it; only its own name is out.
check_plugin() {
    exported=$(nm -D --defined-only "$1" | awk '/Ptc|ptc_/ {print $3}')
    [ -z "$exported" ] || fail "$1 exports" $exported
    quiet python3 -c 'import ctypes, sys
count = ctypes.CDLL(sys.argv[1]).CountPoints
count.restype = ctypes.c_int64
sys.exit(count(sys.argv[2].encode()) != 3)' "$1" cloud.ptc
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
    run_user "$folder/package_user_static"
    check_plugin "$PWD/$folder/libplugin_ptc.so"
    check_plugin "$PWD/$folder/libplugin_static.so"
}

# build_c_user FOLDER [OPTION]: with CMake, where neither a C++ compiler nor zlib can be found.
build_c_user() {
    quiet cmake -G Ninja -S "$tree/tests/package/c" -B "$1" ${2:+"$2"} \
        -DCMAKE_CXX_COMPILER=/bin/false -DCMAKE_DISABLE_FIND_PACKAGE_ZLIB=ON
    quiet cmake --build "$1"
    run_c_user "$1/package_user_in_c"
}

# build_with_pkg_config: in C++ and in C, with the shared library and with the archive.
build_with_pkg_config() {
    shared=$(pkg-config --cflags --libs ptc) || fail "pkg-config does not find ptc"
    archive=$(pkg-config --cflags --static --libs ptc)
    quiet g++ -std=c++20 "$tree/tests/package/main.cpp" $shared -o with_pkg_config
    quiet g++ -std=c++20 -static "$tree/tests/package/main.cpp" $archive -o with_archive
    quiet gcc -std=c99 "$tree/tests/package/c/main.c" $shared -o with_pkg_config_in_c
    quiet gcc -std=c99 -static "$tree/tests/package/c/main.c" $archive -o with_archive_in_c
}

run_pkg_config_users() {
    run_user ./with_pkg_config
    run_c_user ./with_pkg_config_in_c
    run_user ./with_archive
    run_c_user ./with_archive_in_c
}
