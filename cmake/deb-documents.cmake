# Run by cpack on what it has installed for the packages: adds the documents that only Debian's
# packages have, and packs the manual pages.
if(NOT CPACK_GENERATOR STREQUAL DEB)
  return()
endif()
foreach(group programs development)
  set(usr ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/${group}/usr)
  string(TOUPPER CPACK_DEBIAN_${group}_PACKAGE_NAME name)
  set(documents ${usr}/share/doc/${${name}})
  foreach(file changelog copyright)
    configure_file(${CPACK_NET_TEST_PACKAGING}/debian/${file} ${documents}/${file} @ONLY
      FILE_PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
  endforeach()
  file(GLOB packed ${documents}/changelog ${usr}/share/man/man*/*.[0-9])
  execute_process(COMMAND gzip -9nf ${packed} COMMAND_ERROR_IS_FATAL ANY)
endforeach()
