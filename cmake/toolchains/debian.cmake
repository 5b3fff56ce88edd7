# Cross-building on Debian for another Debian architecture, whose libraries apt installs next to the
# host's (dpkg --add-architecture); what it cannot is unpacked by packaging/make_sysroot.sh. The caller
# sets debian_architecture, debian_triplet and CMAKE_SYSTEM_PROCESSOR.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${debian_triplet}-gcc)
set(CMAKE_CXX_COMPILER ${debian_triplet}-g++)
set(CMAKE_STRIP ${debian_triplet}-strip)
set(CMAKE_LIBRARY_ARCHITECTURE ${debian_triplet})

# Libraries come from the target's directories only: a host library must not be found by mistake.
set(CMAKE_FIND_ROOT_PATH /usr/${debian_triplet})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY BOTH)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE BOTH)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)
set(CMAKE_IGNORE_PREFIX_PATH /usr/local)

# Packages are built in a copy of the tree, and are told where this is.
set(sysroot ${CMAKE_CURRENT_LIST_DIR}/../../build/sysroot/${debian_architecture})
if(DEFINED ENV{FIELDRELAYBOX_SYSROOTS})
    set(sysroot $ENV{FIELDRELAYBOX_SYSROOTS}/${debian_architecture})
endif()
cmake_path(ABSOLUTE_PATH sysroot NORMALIZE)
set(ENV{PKG_CONFIG_LIBDIR}
    /usr/lib/${debian_triplet}/pkgconfig:${sysroot}/usr/lib/${debian_triplet}/pkgconfig:/usr/share/pkgconfig)
# OpenSSL has headers of each architecture's own.
set(CMAKE_CXX_STANDARD_INCLUDE_DIRECTORIES ${sysroot}/usr/include/${debian_triplet})
# What its libraries need themselves; not where the program looks for them.
set(CMAKE_EXE_LINKER_FLAGS_INIT -Wl,-rpath-link,${sysroot}/usr/lib/${debian_triplet})
set(CMAKE_MODULE_LINKER_FLAGS_INIT ${CMAKE_EXE_LINKER_FLAGS_INIT})
