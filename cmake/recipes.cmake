# Run by cpack on a package that it has made: puts recipes for the source package beside it, with
# its version and its hash.
if(NOT CPACK_INSTALLED_DIRECTORIES)
  return()
endif()
list(GET CPACK_PACKAGE_FILES 0 package)
file(SHA256 ${package} SHA256)
set(VERSION ${CPACK_PACKAGE_VERSION})
set(recipes ${CPACK_NET_TEST_PACKAGING}/recipes)
file(GLOB_RECURSE files RELATIVE ${recipes} ${recipes}/*)
foreach(file ${files})
  string(REPLACE VERSION ${VERSION} made ${CPACK_PACKAGE_DIRECTORY}/recipes/${file})
  configure_file(${recipes}/${file} ${made} @ONLY)
endforeach()
