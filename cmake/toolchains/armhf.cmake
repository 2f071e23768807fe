# 32-bit ARM with Debian's cross compiler; what is built runs under user-mode emulation on the packages of
# architecture armhf that are installed beside the machine's own.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)

# The emulated loader must find the installed armhf packages, never the cross compiler's own copy of libc: two
# builds of libc in one process end every forked check with signal 11.
set(CMAKE_CROSSCOMPILING_EMULATOR "qemu-arm-static;-L;/")

set(ENV{PKG_CONFIG_LIBDIR} "/usr/lib/arm-linux-gnueabihf/pkgconfig:/usr/share/pkgconfig")
