# The packages that cpack makes: for Debian net-test (both programs) and net-test-dev (the
# libraries), and the sources with recipes for them.
set(CPACK_PACKAGE_CONTACT "The net-test developers <net-test@example.org>")
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR})
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL net-test net-test-show dev)
# For the scripts that cpack runs.
set(CPACK_NET_TEST_PACKAGING ${PROJECT_SOURCE_DIR}/packaging)

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
if(CMAKE_CROSSCOMPILING)
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} -dumpmachine
    OUTPUT_VARIABLE CPACK_NET_TEST_MACHINE OUTPUT_STRIP_TRAILING_WHITESPACE)
  set(CPACK_NET_TEST_CROSS ON)
endif()

# cpack --config CPackSourceConfig.cmake: everything but build folders, packages and git's own.
set(CPACK_SOURCE_GENERATOR TGZ)
set(CPACK_SOURCE_PACKAGE_FILE_NAME net-test-${PROJECT_VERSION})
set(CPACK_SOURCE_IGNORE_FILES "/_CPack_Packages/" "/net-test-[^/]*\\.tar\\.gz$")
foreach(dir ${PROJECT_SOURCE_DIR}/build ${PROJECT_BINARY_DIR} ${PROJECT_SOURCE_DIR}/.git)
  string(REGEX REPLACE "([][+.*()^$?|\\\\])" "\\\\\\1" pattern ${dir})
  list(APPEND CPACK_SOURCE_IGNORE_FILES "^${pattern}(/|$)")
endforeach()
set(CPACK_POST_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/recipes.cmake)

include(CPack)
cpack_add_component_group(programs)
cpack_add_component(net-test GROUP programs)
cpack_add_component(net-test-show GROUP programs)
cpack_add_component_group(development)
cpack_add_component(dev GROUP development)
