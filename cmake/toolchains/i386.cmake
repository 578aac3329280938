# Debian's cross compiler for i386. Most x86-64 kernels run the programs themselves, with libc6-i386 and lib32stdc++6; where the
# 32-bit loader doesn't run, qemu-i386 runs them with the same libraries: under a prefix of the cross compiler's the loader would
# take that libc and the machine's in turn, and hang in its first thread.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR i386)
set(CMAKE_C_COMPILER i686-linux-gnu-gcc-12)
set(CMAKE_CXX_COMPILER i686-linux-gnu-g++-12)
set(CMAKE_FIND_ROOT_PATH /usr/i686-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)

execute_process(COMMAND /lib/ld-linux.so.2 --version RESULT_VARIABLE loader OUTPUT_QUIET ERROR_QUIET)
if(loader EQUAL 0)
  set(CMAKE_CROSSCOMPILING_EMULATOR env)
  set(run_by "this machine itself")
else()
  set(CMAKE_CROSSCOMPILING_EMULATOR qemu-i386)
  set(run_by "qemu-i386: the kernel doesn't run them")
endif()
get_property(inner GLOBAL PROPERTY IN_TRY_COMPILE)
if(NOT inner)
  message(STATUS "i386 programs are run by ${run_by}")
endif()
