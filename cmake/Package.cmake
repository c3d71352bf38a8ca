# Debian packages from the install rules, with CPack rather than debhelper: the packages hold
# exactly what `cmake --install` installs, the cross build packages arm64 with the same rules,
# and there is no second description of the files to keep in step.
#   liborvamesh5.2   the shared library (package named after its soname), with a shlibs file
#   liborvamesh-dev  headers, CMake package, pkg-config file, D-Bus interface description
#   orvamesh-tools   the programs, the simulator's example mesh, the D-Bus policies as examples
# Build with scripts/package <build dir>.
set(ORVAMESH_DEB_RUNTIME "liborvamesh${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR}")

if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(aarch64|arm64)$")
  set(ORVAMESH_DEB_ARCH arm64)
elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|amd64)$")
  set(ORVAMESH_DEB_ARCH amd64)
else()
  set(ORVAMESH_DEB_ARCH ${CMAKE_SYSTEM_PROCESSOR})
endif()

# Each package carries its copyright and changelog in its own doc folder.
execute_process(COMMAND gzip -9nc ${PROJECT_SOURCE_DIR}/packaging/changelog
                OUTPUT_FILE ${PROJECT_BINARY_DIR}/changelog.gz)
foreach(pair runtime:${ORVAMESH_DEB_RUNTIME} dev:liborvamesh-dev tools:orvamesh-tools)
  string(REPLACE ":" ";" pair ${pair})
  list(GET pair 0 component)
  list(GET pair 1 package)
  install(FILES ${PROJECT_SOURCE_DIR}/packaging/copyright ${PROJECT_BINARY_DIR}/changelog.gz
          DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package} COMPONENT ${component} EXCLUDE_FROM_ALL)
endforeach()
install(FILES ${PROJECT_BINARY_DIR}/com.velanto.mesh.conf ${PROJECT_SOURCE_DIR}/dbus/com.velanto.mesh.everyone.conf
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/orvamesh-tools/examples COMPONENT tools EXCLUDE_FROM_ALL)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME liborvamesh)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "liborvamesh maintainers <maintainers@users.noreply.c-seed-29f9cea5.example>")
set(CPACK_PACKAGE_VENDOR "liborvamesh maintainers")
# Each package's description starts with its own synopsis; only CPack's default summary keeps
# it from putting the project's summary in front of that.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_NAME} built using CMake")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime dev tools)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${ORVAMESH_DEB_ARCH})
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The tools link our own library, which no installed package provides yet; dpkg-shlibdeps finds
# it in the build tree and the tools' dependency on it is written by hand below.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# A shlibs file for the library: programs built against 5.2.x need at least that version.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${ORVAMESH_DEB_RUNTIME})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/triggers)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "SDK of the mesh Wi-Fi router family - shared library
The library that the routers' mesh daemon and management programs link: the
D-Bus client of the mesh daemon, wired discovery between controller and range
extenders, helpers for hostapd, wpa_supplicant, WPS and hyd, the HTTPS web-API
client, SSH remote execution, LED and log settings, topology, link monitors,
system upgrade and RADIUS.")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME liborvamesh-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS
    "${ORVAMESH_DEB_RUNTIME} (= ${PROJECT_VERSION}), libglib2.0-dev, libjsoncpp-dev, libboost-serialization-dev")
set(CPACK_DEBIAN_DEV_DESCRIPTION "SDK of the mesh Wi-Fi router family - development files
Headers, the CMake package (find_package(orvamesh)), the pkg-config file and
the D-Bus interface description of the mesh daemon, for building programs
with liborvamesh.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME orvamesh-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION net)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${ORVAMESH_DEB_RUNTIME} (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "SDK of the mesh Wi-Fi router family - command-line tools
orvamesh (the mesh daemon's client), orvamesh-simd (a simulated mesh daemon for
a private bus), orvamesh-scan (wired discovery), orvamesh-node and
orvamesh-upgrade, with the D-Bus policies of the mesh daemon as examples.")

include(CPack)
