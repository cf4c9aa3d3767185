# What a Debian package has and an installation elsewhere has not: copyright and change logs,
# compressed pages, one time for all files, the packages with the libraries that its programs load.
# CPack runs it between installing and packing.

set(source ${CMAKE_CURRENT_LIST_DIR}/../..)

# The same tree gives the same packages, whenever and wherever they are built.
if(NOT DEFINED ENV{SOURCE_DATE_EPOCH})
  execute_process(COMMAND git -C ${source} log -1 --format=%ct
    OUTPUT_VARIABLE time OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
  if(NOT time)
    file(TIMESTAMP ${source}/CHANGELOG.md time %s UTC)
  endif()
  set(ENV{SOURCE_DATE_EPOCH} ${time})
endif()
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)

function(run)
  execute_process(COMMAND ${ARGV} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

# CPack could ask for the libraries itself, but then overlooks those of no package, and adds scripts
# that call ldconfig, which the trigger does.
function(add_libraries_of root depends)
  execute_process(
    COMMAND find ${root} -type f ( -path */bin/* -o -name *.so -o -name *.so.* )
    OUTPUT_VARIABLE loading OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  if(NOT loading)
    return()
  endif()
  string(REPLACE "\n" ";" loading "${loading}")
  # It wants to stand in an unpacked source, beside the root of a package.
  file(WRITE ${CPACK_TEMPORARY_DIRECTORY}/debian/control "")
  file(MAKE_DIRECTORY ${root}/DEBIAN)
  execute_process(
    COMMAND dpkg-shlibdeps -O ${loading} WORKING_DIRECTORY ${CPACK_TEMPORARY_DIRECTORY}
    OUTPUT_VARIABLE libraries OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  file(REMOVE_RECURSE ${root}/DEBIAN ${CPACK_TEMPORARY_DIRECTORY}/debian)
  string(REPLACE "shlibs:Depends=" "" libraries "${libraries}")
  set(${depends} ${libraries} ${${depends}})
  list(JOIN ${depends} ", " ${depends})
  set(${depends} "${${depends}}" PARENT_SCOPE)
endfunction()

foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${component} key)
  set(name ${CPACK_DEBIAN_${key}_PACKAGE_NAME})
  set(root ${CPACK_TEMPORARY_DIRECTORY}/${component})
  add_libraries_of(${root} CPACK_DEBIAN_${key}_PACKAGE_DEPENDS)
  set(documents ${root}/usr/share/doc/${name})

  configure_file(${source}/CHANGELOG.md ${documents}/changelog COPYONLY)
  file(WRITE ${documents}/changelog.Debian "\
ptc (${CPACK_PACKAGE_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}) unstable; urgency=medium

  * What has changed is in changelog.gz.

 -- ${CPACK_DEBIAN_PACKAGE_MAINTAINER}  ${date}
")
  configure_file(${CMAKE_CURRENT_LIST_DIR}/copyright ${documents}/copyright COPYONLY)
  run(gzip -9n ${documents}/changelog ${documents}/changelog.Debian)
  if(EXISTS ${root}/usr/share/man)
    run(find ${root}/usr/share/man -type f ! -name *.gz -exec gzip -9n {} +)
  endif()
  if(EXISTS ${CMAKE_CURRENT_LIST_DIR}/${name}.lintian-overrides)
    configure_file(${CMAKE_CURRENT_LIST_DIR}/${name}.lintian-overrides
      ${root}/usr/share/lintian/overrides/${name} COPYONLY)
  endif()

  # Whatever the umask of who builds it.
  run(chmod -R u=rwX,go=rX ${root})
  run(find ${root} -exec touch --no-dereference --date=@$ENV{SOURCE_DATE_EPOCH} {} +)
endforeach()
