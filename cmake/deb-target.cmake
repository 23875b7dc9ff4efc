# Read by cpack before it starts: can Debian packages be made here, and for which architecture?
if(NOT CPACK_GENERATOR STREQUAL DEB)
  return()
endif()
foreach(tool dpkg-architecture dpkg-shlibdeps file gzip)
  find_program(found_${tool} ${tool})
  if(NOT found_${tool})
    message(FATAL_ERROR "Debian packages need ${tool}: apt-get install dpkg-dev file gzip")
  endif()
endforeach()
if(NOT CPACK_NET_TEST_CROSS)
  return()
endif()
# A C library other than Debian's is no part of a Debian architecture's name, or of its packages.
execute_process(COMMAND dpkg-architecture -t${CPACK_NET_TEST_MACHINE} -qDEB_HOST_ARCH
  RESULT_VARIABLE failed OUTPUT_VARIABLE architecture OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
if(failed OR NOT CPACK_NET_TEST_MACHINE MATCHES "-gnu[^-]*$")
  message(FATAL_ERROR "No Debian packages for \"${CPACK_NET_TEST_MACHINE}\": that is no machine of "
    "Debian's. Use cmake --install, or cpack -G TGZ.")
endif()
set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${architecture})
# dpkg-shlibdeps finds the C library in a cross compiler's folder, or installed for that machine.
set(ENV{DEB_HOST_ARCH} ${architecture})
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS /usr/${CPACK_NET_TEST_MACHINE}/lib)
