include(CMakePackageConfigHelpers)

install(TARGETS orvamesh EXPORT orvameshTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/orvamesh DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        FILES_MATCHING PATTERN "*.h")
if(EXISTS ${PROJECT_BINARY_DIR}/include/orvamesh)
  install(DIRECTORY ${PROJECT_BINARY_DIR}/include/orvamesh DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
          FILES_MATCHING PATTERN "*.h")
endif()

set(ORVAMESH_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/orvamesh)
install(EXPORT orvameshTargets NAMESPACE orvamesh:: DESTINATION ${ORVAMESH_CMAKE_DIR})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/orvameshConfig.cmake.in
  ${PROJECT_BINARY_DIR}/orvameshConfig.cmake INSTALL_DESTINATION ${ORVAMESH_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/orvameshConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/orvameshConfig.cmake ${PROJECT_BINARY_DIR}/orvameshConfigVersion.cmake
        DESTINATION ${ORVAMESH_CMAKE_DIR})

file(RELATIVE_PATH ORVAMESH_PC_RELATIVE_PREFIX "/prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/prefix")
configure_file(${PROJECT_SOURCE_DIR}/cmake/orvamesh.pc.in ${PROJECT_BINARY_DIR}/orvamesh.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/orvamesh.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# The mesh interface description, the daemon's system-bus policy (root and one group), and the
# everyone-may-call policy as an example.
install(FILES ${PROJECT_SOURCE_DIR}/dbus/com.velanto.mesh.xml
        DESTINATION ${CMAKE_INSTALL_DATADIR}/dbus-1/interfaces)
set(ORVAMESH_DBUS_GROUP "orvamesh" CACHE STRING "The group whose members may call the mesh daemon")
configure_file(${PROJECT_SOURCE_DIR}/dbus/com.velanto.mesh.conf.in ${PROJECT_BINARY_DIR}/com.velanto.mesh.conf @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/com.velanto.mesh.conf DESTINATION ${CMAKE_INSTALL_DATADIR}/dbus-1/system.d)
install(FILES ${PROJECT_SOURCE_DIR}/dbus/com.velanto.mesh.everyone.conf
        DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples)
