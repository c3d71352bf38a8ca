# Every external library the SDK links, found once here. Public dependencies appear in the
# installed headers (GLib/GIO types, Boost archives, msgpack objects, Json::Value); private ones
# stay inside the shared library.
find_package(PkgConfig REQUIRED)
pkg_check_modules(GLIB REQUIRED IMPORTED_TARGET glib-2.0 gobject-2.0 gio-2.0 gio-unix-2.0)
pkg_check_modules(JSONCPP REQUIRED IMPORTED_TARGET jsoncpp)
pkg_check_modules(SODIUM REQUIRED IMPORTED_TARGET libsodium)
pkg_check_modules(CURL REQUIRED IMPORTED_TARGET libcurl)
pkg_check_modules(SSH2 REQUIRED IMPORTED_TARGET libssh2)
pkg_check_modules(LIBXML2 REQUIRED IMPORTED_TARGET libxml-2.0)
pkg_check_modules(LIBCRYPTO REQUIRED IMPORTED_TARGET libcrypto)
pkg_check_modules(LIBNL REQUIRED IMPORTED_TARGET libnl-3.0 libnl-route-3.0)
pkg_check_modules(NFTABLES REQUIRED IMPORTED_TARGET libnftables)
pkg_check_modules(LIBCRYPT REQUIRED IMPORTED_TARGET libcrypt)
find_package(Boost 1.74 REQUIRED COMPONENTS serialization filesystem)
find_package(Threads REQUIRED)
find_path(MSGPACK_INCLUDE_DIR msgpack.hpp REQUIRED)

add_library(orvamesh_msgpack INTERFACE)
target_include_directories(orvamesh_msgpack SYSTEM INTERFACE ${MSGPACK_INCLUDE_DIR})
target_compile_definitions(orvamesh_msgpack INTERFACE MSGPACK_DEFAULT_API_VERSION=3)

set(ORVAMESH_PUBLIC_DEPS
  PkgConfig::GLIB PkgConfig::JSONCPP Boost::serialization Threads::Threads)
set(ORVAMESH_PRIVATE_DEPS
  PkgConfig::SODIUM PkgConfig::CURL PkgConfig::SSH2 PkgConfig::LIBXML2 PkgConfig::LIBCRYPTO PkgConfig::LIBNL PkgConfig::NFTABLES PkgConfig::LIBCRYPT Boost::filesystem
  $<BUILD_INTERFACE:orvamesh_msgpack>)

# Requirements written into orvamesh.pc and orvameshConfig.cmake.
set(ORVAMESH_PC_REQUIRES "glib-2.0 gobject-2.0 gio-2.0 gio-unix-2.0 jsoncpp")
set(ORVAMESH_PC_REQUIRES_PRIVATE "libsodium libcurl libssh2 libxml-2.0 libcrypto libnl-3.0 libnl-route-3.0 libnftables libcrypt")
set(ORVAMESH_PC_LIBS_PRIVATE "-lboost_serialization -lboost_filesystem -lpthread")
