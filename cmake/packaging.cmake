# What is installed, in the components net-test, net-test-show and dev, and the packages that cpack
# makes of it: net-test (both programs), net-test-dev (the libraries), and the sources.
include(CMakePackageConfigHelpers)
set(dev_dir ${CMAKE_INSTALL_LIBDIR}/cmake/net-test)

# net_test_install_library(NAME LINKED_LIBRARY...)
function(net_test_install_library name)
  install(TARGETS ${name} EXPORT net-test COMPONENT dev
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}/net-test
    FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/net-test COMPONENT dev)
  # For pkg-config; the prefix is known as late as at the installation.
  list(TRANSFORM ARGN PREPEND net-test- OUTPUT_VARIABLE requires)
  list(JOIN requires " " requires)
  set(prefix "@CMAKE_INSTALL_PREFIX@")
  foreach(dir LIBDIR INCLUDEDIR)
    set(${dir} ${CMAKE_INSTALL_${dir}})
    if(NOT IS_ABSOLUTE ${${dir}})
      string(PREPEND ${dir} "\${prefix}/")
    endif()
  endforeach()
  configure_file(cmake/library.pc.in net-test-${name}.pc.in @ONLY)
  set(file "${CMAKE_CURRENT_BINARY_DIR}/net-test-${name}.pc")
  install(CODE "configure_file(\"${file}.in\" \"${file}\" @ONLY)" COMPONENT dev)
  install(FILES ${file} DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)
endfunction()

# net_test_install_program(NAME): with its manual page and what bash completes for it.
function(net_test_install_program name)
  install(TARGETS ${name} COMPONENT ${name})
  install(FILES ${PROJECT_SOURCE_DIR}/docs/man/${name}.1
    DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT ${name})
  install(FILES ${PROJECT_SOURCE_DIR}/packaging/completion/${name}
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT ${name})
endfunction()
if(NET_TEST_BUILD_PROGRAMS OR NET_TEST_BUILD_TESTS)
  install(FILES ${PROJECT_SOURCE_DIR}/docs/man/net-test-record.5
    DESTINATION ${CMAKE_INSTALL_MANDIR}/man5 COMPONENT net-test)
endif()

# find_package(net-test) gives net-test::netbase and the others.
write_basic_package_version_file(net-testConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(EXPORT net-test FILE net-testConfig.cmake NAMESPACE net-test::
  DESTINATION ${dev_dir} COMPONENT dev)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/net-testConfigVersion.cmake
  DESTINATION ${dev_dir} COMPONENT dev)

if(NOT PROJECT_IS_TOP_LEVEL)
  return()
endif()

set(CPACK_PACKAGE_CONTACT "The net-test developers <net-test@example.org>")
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_COMPONENTS_ALL net-test net-test-show dev)

# cpack -G DEB
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_NAME net-test)
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PROGRAMS_DESCRIPTION
"net-test times one FTP download or upload or one HTTP download in its phases,
samples its speed once a second, and keeps the result in a file of one line
for other programs. net-test-show shows that result to people.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME net-test-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION
"The static libraries of net-test, for programs of your own: its FTP and HTTP
tests, and the network library under them with sockets tied to a device, a DNS
client, raw Ethernet, ARP, IPv4 and UDP, PPPoE and IPv6 neighbour discovery.")
# Static libraries: what links them needs the C++ runtime and headers of at least this compiler.
string(REGEX MATCH "^[0-9]+" major "${CMAKE_CXX_COMPILER_VERSION}")
set(cxx_runtime libstdc++-dev)
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
  string(PREPEND cxx_runtime "libstdc++-${major}-dev | ")
endif()
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libc6-dev | libc-dev, ${cxx_runtime}")
set(CPACK_PROJECT_CONFIG_FILE ${PROJECT_SOURCE_DIR}/cmake/deb-target.cmake)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/deb-documents.cmake)
# For these two scripts.
set(CPACK_NET_TEST_SOURCE_DIR ${PROJECT_SOURCE_DIR})
if(CMAKE_CROSSCOMPILING)
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} -dumpmachine
    OUTPUT_VARIABLE CPACK_NET_TEST_MACHINE OUTPUT_STRIP_TRAILING_WHITESPACE)
  set(CPACK_NET_TEST_CROSS ON)
endif()

# cpack --config CPackSourceConfig.cmake: everything but build folders and git's own.
set(CPACK_SOURCE_GENERATOR TGZ)
set(CPACK_SOURCE_PACKAGE_FILE_NAME net-test-${PROJECT_VERSION})
set(CPACK_SOURCE_IGNORE_FILES "")
foreach(dir ${PROJECT_SOURCE_DIR}/build ${PROJECT_BINARY_DIR} ${PROJECT_SOURCE_DIR}/.git)
  string(REGEX REPLACE "([][+.*()^$?|\\\\])" "\\\\\\1" pattern ${dir})
  list(APPEND CPACK_SOURCE_IGNORE_FILES "^${pattern}(/|$)")
endforeach()

include(CPack)
cpack_add_component_group(programs)
cpack_add_component(net-test GROUP programs)
cpack_add_component(net-test-show GROUP programs)
cpack_add_component_group(development)
cpack_add_component(dev GROUP development)
