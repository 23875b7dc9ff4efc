# What every target of the project is compiled with, and what the programs are linked with. A flag
# is taken only where the toolchain takes it, and not where the builder's own flags decide the same.
include(CheckCXXCompilerFlag)
include(CheckLinkerFlag)
include(CheckPIESupported)

add_library(net-test-options INTERFACE)
add_library(net-test-program-options INTERFACE)
target_link_libraries(net-test-program-options INTERFACE net-test-options)
string(TOUPPER "CMAKE_CXX_FLAGS_${CMAKE_BUILD_TYPE}" type_flags)
set(own_flags "${CMAKE_CXX_FLAGS} ${${type_flags}} ${CMAKE_EXE_LINKER_FLAGS} \
${CMAKE_EXE_LINKER_FLAGS_MINSIZEREL} ")

# net_test_compile(FLAG...), net_test_link(FLAG...): each flag by itself.
function(net_test_compile)
  foreach(flag ${ARGN})
    string(MAKE_C_IDENTIFIER "NET_TEST_COMPILES${flag}" works)
    check_cxx_compiler_flag("${flag}" ${works})
    if(${works})
      target_compile_options(net-test-options INTERFACE "${flag}")
    endif()
  endforeach()
endfunction()
function(net_test_link)
  foreach(flag ${ARGN})
    string(MAKE_C_IDENTIFIER "NET_TEST_LINKS${flag}" works)
    check_linker_flag(CXX "${flag}" ${works})
    if(${works})
      target_link_options(net-test-program-options INTERFACE "${flag}")
    endif()
  endforeach()
endfunction()

net_test_compile(-Wall -Wextra -Wpedantic -Wconversion -Wshadow -ffunction-sections -fdata-sections)
# The C++ runtime is linked in: it shortens the start, and a device needs only the C library.
net_test_link(-static-libstdc++ -static-libgcc -Wl,--gc-sections)

# The same sources give the same bytes, wherever they lie and are built: no such path in objects
# (but for the debugger), no times or owners in archives.
check_cxx_compiler_flag(-ffile-prefix-map=a=b NET_TEST_COMPILES_prefix_map)
if(NET_TEST_COMPILES_prefix_map AND NOT CMAKE_BUILD_TYPE STREQUAL Debug)
  target_compile_options(net-test-options INTERFACE
    -ffile-prefix-map=${PROJECT_SOURCE_DIR}=. -ffile-prefix-map=${PROJECT_BINARY_DIR}=build)
endif()
execute_process(COMMAND ${CMAKE_AR} qcD ${CMAKE_CURRENT_BINARY_DIR}/CMakeFiles/empty.a
  RESULT_VARIABLE failed OUTPUT_QUIET ERROR_QUIET)
if(NOT failed)
  set(CMAKE_CXX_ARCHIVE_CREATE "<CMAKE_AR> qcD <TARGET> <LINK_FLAGS> <OBJECTS>")
  set(CMAKE_CXX_ARCHIVE_APPEND "<CMAKE_AR> qD <TARGET> <LINK_FLAGS> <OBJECTS>")
  set(CMAKE_CXX_ARCHIVE_FINISH "<CMAKE_RANLIB> -D <TARGET>")
endif()

if(NET_TEST_HARDENING)
  if(NOT own_flags MATCHES "stack-protector")
    net_test_compile(-fstack-protector-strong)
  endif()
  # Some compilers define it themselves; it needs an optimised build.
  if(NOT own_flags MATCHES "_FORTIFY_SOURCE|-fsanitize|-O[0g] ")
    target_compile_options(net-test-options INTERFACE
      "$<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>")
  endif()
  if(NOT DEFINED CMAKE_POSITION_INDEPENDENT_CODE AND NOT own_flags MATCHES "no-pie|-static |-static-pie")
    check_pie_supported(OUTPUT_VARIABLE ignored LANGUAGES CXX)
    set(CMAKE_POSITION_INDEPENDENT_CODE ON)
    net_test_compile(-fno-semantic-interposition)
  endif()
  if(NOT own_flags MATCHES "-z,? ?(norelro|lazy)")
    net_test_link(-Wl,-z,relro,-z,now)
  endif()
endif()
