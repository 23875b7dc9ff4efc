# Run by cpack on what it has installed for the packages: adds the documents that only Debian's
# packages have, and packs the manual pages.
if(NOT CPACK_GENERATOR STREQUAL DEB)
  return()
endif()
foreach(group programs development)
  set(usr ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/${group}/usr)
  string(TOUPPER CPACK_DEBIAN_${group}_PACKAGE_NAME name)
  set(documents ${usr}/share/doc/${${name}})
  file(COPY ${CPACK_NET_TEST_SOURCE_DIR}/packaging/debian/ DESTINATION ${documents}
    FILE_PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ
    DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
      WORLD_READ WORLD_EXECUTE)
  file(GLOB packed ${documents}/changelog ${usr}/share/man/man*/*.[0-9])
  execute_process(COMMAND gzip -9nf ${packed} COMMAND_ERROR_IS_FATAL ANY)
endforeach()
