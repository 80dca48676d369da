# Cross build for 32-bit ARM (armhf) with Debian's arm-linux-gnueabihf compiler. The armhf
# libraries come from scripts/armhf-deps.sh, unpacked into SEARCHPROC_ARMHF_PREFIX; test
# programs (ctest, and gtest's test discovery at build time) run under qemu-arm.
#   cmake -S . -B build-armhf -DCMAKE_TOOLCHAIN_FILE=cmake/toolchain-armhf.cmake \
#         -DSEARCHPROC_ARMHF_PREFIX=$PWD/build-armhf-deps
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(armhf_triple arm-linux-gnueabihf)
set(CMAKE_C_COMPILER ${armhf_triple}-gcc)
set(CMAKE_CXX_COMPILER ${armhf_triple}-g++)

if(NOT SEARCHPROC_ARMHF_PREFIX)
  set(SEARCHPROC_ARMHF_PREFIX "${CMAKE_CURRENT_LIST_DIR}/../build-armhf-deps")
endif()
get_filename_component(SEARCHPROC_ARMHF_PREFIX "${SEARCHPROC_ARMHF_PREFIX}" ABSOLUTE)
set(SEARCHPROC_ARMHF_PREFIX "${SEARCHPROC_ARMHF_PREFIX}" CACHE PATH
    "Folder of the unpacked armhf packages (scripts/armhf-deps.sh)")
# try_compile projects read this file again: hand them the folder.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES SEARCHPROC_ARMHF_PREFIX)
set(armhf_prefix ${SEARCHPROC_ARMHF_PREFIX})
if(NOT EXISTS ${armhf_prefix}/usr/include/lzma.h)
  message(FATAL_ERROR "${armhf_prefix} holds no armhf libraries: run scripts/armhf-deps.sh ${armhf_prefix}")
endif()

# Libraries, headers and CMake packages only from the unpacked folder and the cross compiler's
# own tree; programs (pkg-config) from the host.
set(CMAKE_FIND_ROOT_PATH ${armhf_prefix} /usr/${armhf_triple})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_LIBRARY_ARCHITECTURE ${armhf_triple})
set(ENV{PKG_CONFIG_LIBDIR} ${armhf_prefix}/usr/lib/${armhf_triple}/pkgconfig:${armhf_prefix}/usr/share/pkgconfig)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${armhf_prefix})

# pkg-config drops its own include folder (/usr/include) from the flags it gives: search the
# unpacked one after the compiler's, so that it never hides the cross C and C++ headers.
set(armhf_libs ${armhf_prefix}/usr/lib/${armhf_triple} ${armhf_prefix}/lib/${armhf_triple})
set(CMAKE_C_FLAGS_INIT "-idirafter ${armhf_prefix}/usr/include")
set(CMAKE_CXX_FLAGS_INIT "-idirafter ${armhf_prefix}/usr/include")
set(armhf_link "")
foreach(dir ${armhf_libs})
  string(APPEND armhf_link " -L${dir} -Wl,-rpath-link,${dir}")
endforeach()
set(CMAKE_EXE_LINKER_FLAGS_INIT "${armhf_link}")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "${armhf_link}")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "${armhf_link}")

# The LZMA SDK sources of the unpacked lzma-dev (the host's are the same files).
set(LZMA_SDK_DIR ${armhf_prefix}/usr/include/lzma CACHE PATH "Folder of the LZMA SDK sources")

# qemu-arm with the cross C library as the guest's root, the unpacked libraries on the guest's
# library path and the unpacked character set converters for iconv.
string(REPLACE ";" ":" armhf_library_path "${armhf_libs}")
find_program(ARMHF_QEMU qemu-arm REQUIRED)
set(CMAKE_CROSSCOMPILING_EMULATOR ${ARMHF_QEMU} -L /usr/${armhf_triple}
    -E LD_LIBRARY_PATH=${armhf_library_path} -E GCONV_PATH=${armhf_prefix}/gconv)
