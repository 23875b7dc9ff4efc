# What is installed, in the components net-test, net-test-show and dev.
include(CMakePackageConfigHelpers)

# net_test_install_library(NAME LINKED_LIBRARY...): with a file for pkg-config, in which the prefix
# is that of the installation.
function(net_test_install_library name)
  install(TARGETS net-test-${name} EXPORT net-test COMPONENT dev
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}/net-test
    FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/net-test COMPONENT dev)
  list(TRANSFORM ARGN REPLACE "::" "-" OUTPUT_VARIABLE requires)
  list(JOIN requires " " requires)
  set(prefix "@CMAKE_INSTALL_PREFIX@")
  foreach(dir LIBDIR INCLUDEDIR)
    cmake_path(ABSOLUTE_PATH CMAKE_INSTALL_${dir} BASE_DIRECTORY "\${prefix}" OUTPUT_VARIABLE ${dir})
  endforeach()
  set(file "${CMAKE_CURRENT_BINARY_DIR}/net-test-${name}.pc")
  configure_file(cmake/library.pc.in ${file}.in @ONLY)
  install(CODE "configure_file(\"${file}.in\" \"${file}\" @ONLY)" COMPONENT dev)
  install(FILES ${file} DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)
endfunction()

# net_test_install_program(NAME): with its manual page and what bash completes for it.
function(net_test_install_program name)
  install(TARGETS ${name} COMPONENT ${name})
  install(FILES ${PROJECT_SOURCE_DIR}/docs/man/${name}.1 TYPE MAN RENAME man1/${name}.1
    COMPONENT ${name})
  install(FILES ${PROJECT_SOURCE_DIR}/packaging/completion/${name}
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT ${name})
endfunction()

# find_package(net-test) gives net-test::netbase and the others.
macro(net_test_install_rest)
  if(TARGET net-test)
    install(FILES ${PROJECT_SOURCE_DIR}/docs/man/net-test-record.5
      DESTINATION ${CMAKE_INSTALL_MANDIR}/man5 COMPONENT net-test)
  endif()
  set(config_dir ${CMAKE_INSTALL_LIBDIR}/cmake/net-test)
  write_basic_package_version_file(net-testConfigVersion.cmake COMPATIBILITY SameMajorVersion)
  install(EXPORT net-test FILE net-testConfig.cmake NAMESPACE net-test::
    DESTINATION ${config_dir} COMPONENT dev)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/net-testConfigVersion.cmake
    DESTINATION ${config_dir} COMPONENT dev)
endmacro()
