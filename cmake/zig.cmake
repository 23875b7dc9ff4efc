# Clang with libc++ and musl of the Zig toolchain, linked statically, for the machine ZIG_TARGET, e.g.
# -DCMAKE_TOOLCHAIN_FILE=cmake/zig.cmake -DZIG_TARGET=arm-linux-musleabihf
# Foreign machines' tests run under qemu-user.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ZIG_TARGET)
set(ZIG_TARGET x86_64-linux-musl CACHE STRING "Machine, kernel and C library")
set(CMAKE_SYSTEM_NAME Linux)
get_property(is_try GLOBAL PROPERTY IN_TRY_COMPILE)
if(NOT is_try)
  execute_process(COMMAND ${CMAKE_CURRENT_LIST_DIR}/zig/cc --version
    RESULT_VARIABLE failed OUTPUT_QUIET ERROR_QUIET)
  if(failed)
    message(FATAL_ERROR "The Zig toolchain is missing. docs/device.md says how to install it.")
  endif()
endif()
string(REGEX MATCH "^[^-]+" CMAKE_SYSTEM_PROCESSOR ${ZIG_TARGET})
if(NOT CMAKE_SYSTEM_PROCESSOR STREQUAL CMAKE_HOST_SYSTEM_PROCESSOR)
  set(CMAKE_CROSSCOMPILING_EMULATOR qemu-${CMAKE_SYSTEM_PROCESSOR})
endif()
foreach(language C CXX)
  set(CMAKE_${language}_COMPILER_TARGET ${ZIG_TARGET})
  set(CMAKE_${language}_COMPILER_AR ${CMAKE_CURRENT_LIST_DIR}/zig/ar)
  set(CMAKE_${language}_COMPILER_RANLIB ${CMAKE_CURRENT_LIST_DIR}/zig/ranlib)
endforeach()
set(CMAKE_C_COMPILER ${CMAKE_CURRENT_LIST_DIR}/zig/cc)  # GoogleTest asks for one
set(CMAKE_CXX_COMPILER ${CMAKE_CURRENT_LIST_DIR}/zig/c++)
set(CMAKE_AR ${CMAKE_CURRENT_LIST_DIR}/zig/ar)
set(CMAKE_RANLIB ${CMAKE_CURRENT_LIST_DIR}/zig/ranlib)
set(CMAKE_EXE_LINKER_FLAGS_INIT -static)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
