# What every target of the project is compiled with, and what the programs are linked with.
include(CheckCXXCompilerFlag)

add_library(net-test-options INTERFACE)
add_library(net-test-program-options INTERFACE)
target_link_libraries(net-test-program-options INTERFACE net-test-options)
target_compile_options(net-test-options INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow -ffunction-sections -fdata-sections)
# The C++ runtime is linked in: it shortens the start, and a device needs only the C library.
target_link_options(net-test-program-options INTERFACE
  -static-libstdc++ -static-libgcc -Wl,--gc-sections)

# The same sources give the same bytes, wherever they lie and are built: no such path in objects
# (but for the debugger), no times or owners in archives.
check_cxx_compiler_flag(-ffile-prefix-map=a=b NET_TEST_HAS_PREFIX_MAP)
if(NET_TEST_HAS_PREFIX_MAP)
  foreach(map ${PROJECT_SOURCE_DIR}=. ${PROJECT_BINARY_DIR}=build)
    target_compile_options(net-test-options INTERFACE
      $<$<NOT:$<CONFIG:Debug>>:-ffile-prefix-map=${map}>)
  endforeach()
endif()
execute_process(COMMAND ${CMAKE_AR} qcD ${CMAKE_CURRENT_BINARY_DIR}/CMakeFiles/empty.a
  RESULT_VARIABLE failed OUTPUT_QUIET ERROR_QUIET)
if(NOT failed)
  set(CMAKE_CXX_ARCHIVE_CREATE "<CMAKE_AR> qcD <TARGET> <LINK_FLAGS> <OBJECTS>")
  set(CMAKE_CXX_ARCHIVE_APPEND "<CMAKE_AR> qD <TARGET> <LINK_FLAGS> <OBJECTS>")
  set(CMAKE_CXX_ARCHIVE_FINISH "<CMAKE_RANLIB> -D <TARGET>")
endif()

# Each measure steps back where the builder's own flags say something about it.
if(NET_TEST_HARDENING)
  string(TOUPPER "CMAKE_CXX_FLAGS_${CMAKE_BUILD_TYPE}" type_flags)
  set(flags "${CMAKE_CXX_FLAGS} ${${type_flags}} ${CMAKE_EXE_LINKER_FLAGS} ")
  if(NOT flags MATCHES "_FORTIFY_SOURCE|-fsanitize|-O[0g] ")
    # Some compilers define it themselves; it needs an optimised build.
    target_compile_options(net-test-options INTERFACE
      "$<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>")
  endif()
  if(NOT flags MATCHES "no-pie|-static |-static-pie|-fPIE|-fPIC")
    target_compile_options(net-test-options INTERFACE
      $<$<NOT:$<BOOL:$<TARGET_PROPERTY:POSITION_INDEPENDENT_CODE>>>:-fPIE>)
    target_link_options(net-test-program-options INTERFACE -pie)
  endif()
  if(NOT flags MATCHES "-z,? ?(norelro|lazy)")
    target_link_options(net-test-program-options INTERFACE -Wl,-z,relro,-z,now)
  endif()
endif()
