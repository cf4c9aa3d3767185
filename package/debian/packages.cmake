# What the Debian packages are called, say and need: one for each installed component. scripts/package
# builds them from a finished build folder; nothing is compiled for them.

set(folder ${PROJECT_SOURCE_DIR}/package/debian)
get_cmake_property(components COMPONENTS)
set(strangers ${components})
list(REMOVE_ITEM strangers runtime development python)
if(strangers)
  message(FATAL_ERROR "No package has the files of these components: ${strangers}")
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_COMPONENTS_ALL ${components})
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_PACKAGE_NAME ptc)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "d_pointcloud developers")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_STRIP_FILES ON)
set(CPACK_PRE_BUILD_SCRIPTS ${folder}/finish.cmake)

# No mail: a domain that nobody can have.
set(CPACK_DEBIAN_PACKAGE_MAINTAINER
  "d_pointcloud developers <developers@d-pointcloud.invalid>")
set(CPACK_DEBIAN_PACKAGE_SOURCE ptc)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(this_version "(= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ptc)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION graphics)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${folder}/triggers ${CMAKE_BINARY_DIR}/shlibs)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "bake, inspect and look up point clouds
The lighting of a scene, computed once and looked up by later renders:
points with position, normal, radius and named channels in a file.
.
This package contains the display driver d_pointcloud.so, which a renderer
loads to bake such files, the program ptc, which shows, checks, repairs,
converts, organises and queries them, the program pcbake, which bakes a
sample scene or a mesh without a renderer, the program pcrender, which draws
them with the light of such files, and the shared library libptc.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libptc-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "ptc ${this_version}, zlib1g-dev")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "read, write and look up point cloud files (development)
Programs read and write point cloud files from any number of threads, give
clouds an octree, find the nearest points of many clouds and filter their
values, in C++ and in C.
.
This package contains the headers, the archive libptc.a and what CMake,
find_package(ptc), and pkg-config need to find the library.")

set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-ptc)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
# The extension is built for one version of the interpreter.
set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS
  "python3 (>= 3.11~), python3 (<< 3.12), python3-numpy (>= 1:1.22)")
set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA
  ${folder}/python/postinst ${folder}/python/prerm)
set(CPACK_COMPONENT_PYTHON_DESCRIPTION "read, write and look up point cloud files (Python)
The module ptc reads and writes point cloud files and looks values up in
them, with points as numpy arrays.
.
This package contains the module; it needs neither the programs nor the
shared library.")

# What other packages' dependencies on the library become.
get_target_property(soversion ptc_library SOVERSION)
file(WRITE ${CMAKE_BINARY_DIR}/shlibs "libptc ${soversion} ptc (>= ${PROJECT_VERSION})\n")

include(CPack)
