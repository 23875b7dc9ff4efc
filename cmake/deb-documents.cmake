# Run by cpack on what it has installed for the packages: adds the documents that only Debian's
# packages have, packs the manual pages, and lets everybody read all of it, whatever the umask.
foreach(group programs development)
  if(NOT CPACK_GENERATOR STREQUAL DEB)
    break()
  endif()
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
file(CHMOD_RECURSE ${CPACK_TEMPORARY_INSTALL_DIRECTORY} DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
