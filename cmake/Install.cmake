include(CMakePackageConfigHelpers)

# Components follow the Debian packages (cmake/Package.cmake): "runtime" the shared library,
# "dev" what a program is built with, "tools" the programs. A plain install takes them all.
set(CMAKE_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
install(TARGETS orvamesh EXPORT orvameshTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev
          PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT dev
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/orvamesh DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        COMPONENT dev FILES_MATCHING PATTERN "*.h")
if(EXISTS ${PROJECT_BINARY_DIR}/include/orvamesh)
  install(DIRECTORY ${PROJECT_BINARY_DIR}/include/orvamesh DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
          COMPONENT dev FILES_MATCHING PATTERN "*.h")
endif()

set(ORVAMESH_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/orvamesh)
install(EXPORT orvameshTargets NAMESPACE orvamesh:: DESTINATION ${ORVAMESH_CMAKE_DIR} COMPONENT dev)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/orvameshConfig.cmake.in
  ${PROJECT_BINARY_DIR}/orvameshConfig.cmake INSTALL_DESTINATION ${ORVAMESH_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/orvameshConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/orvameshConfig.cmake ${PROJECT_BINARY_DIR}/orvameshConfigVersion.cmake
        DESTINATION ${ORVAMESH_CMAKE_DIR} COMPONENT dev)

file(RELATIVE_PATH ORVAMESH_PC_RELATIVE_PREFIX "/prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/prefix")
configure_file(${PROJECT_SOURCE_DIR}/cmake/orvamesh.pc.in ${PROJECT_BINARY_DIR}/orvamesh.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/orvamesh.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)

# The mesh interface description, the daemon's system-bus policy (root and one group), and the
# everyone-may-call policy as an example.
install(FILES ${PROJECT_SOURCE_DIR}/dbus/com.velanto.mesh.xml
        DESTINATION ${CMAKE_INSTALL_DATADIR}/dbus-1/interfaces COMPONENT dev)
set(ORVAMESH_DBUS_GROUP "orvamesh" CACHE STRING "The group whose members may call the mesh daemon")
configure_file(${PROJECT_SOURCE_DIR}/dbus/com.velanto.mesh.conf.in ${PROJECT_BINARY_DIR}/com.velanto.mesh.conf @ONLY)
# The active policy belongs to whoever installs the daemon, so the packages leave it out
# (component "policy") and carry both policies as examples instead.
install(FILES ${PROJECT_BINARY_DIR}/com.velanto.mesh.conf DESTINATION ${CMAKE_INSTALL_DATADIR}/dbus-1/system.d
        COMPONENT policy)
install(FILES ${PROJECT_SOURCE_DIR}/dbus/com.velanto.mesh.everyone.conf
        DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples COMPONENT policy)

include(cmake/Package.cmake)
