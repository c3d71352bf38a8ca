# The mesh interface's GDBus proxy and skeleton are generated from the interface description
# at build time. The header lands in the build tree's include/orvamesh/dbus/ (installed with
# the public headers, since the client classes expose the generated proxy type); the body is
# compiled into the library. Generated symbols carry the orva_ prefix, which the version
# script exports so that daemons can implement the interface with the library's skeleton.
find_program(GDBUS_CODEGEN gdbus-codegen REQUIRED)

set(ORVAMESH_DBUS_XML ${PROJECT_SOURCE_DIR}/dbus/com.velanto.mesh.xml)
set(ORVAMESH_CODEGEN_HEADER ${PROJECT_BINARY_DIR}/include/orvamesh/dbus/mesh_dbus_codegen.h)
set(ORVAMESH_CODEGEN_BODY ${PROJECT_BINARY_DIR}/generated/mesh_dbus_codegen.c)
set(ORVAMESH_CODEGEN_ARGS --interface-prefix com.velanto. --c-namespace Orva --pragma-once)

file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/include/orvamesh/dbus ${PROJECT_BINARY_DIR}/generated)
add_custom_command(
  OUTPUT ${ORVAMESH_CODEGEN_HEADER}
  COMMAND ${GDBUS_CODEGEN} ${ORVAMESH_CODEGEN_ARGS} --header --output ${ORVAMESH_CODEGEN_HEADER}
          ${ORVAMESH_DBUS_XML}
  DEPENDS ${ORVAMESH_DBUS_XML}
  COMMENT "Generating the mesh D-Bus interface header")
add_custom_command(
  OUTPUT ${ORVAMESH_CODEGEN_BODY}
  COMMAND ${GDBUS_CODEGEN} ${ORVAMESH_CODEGEN_ARGS} --body --output ${ORVAMESH_CODEGEN_BODY}
          ${ORVAMESH_DBUS_XML}
  DEPENDS ${ORVAMESH_DBUS_XML} ${ORVAMESH_CODEGEN_HEADER}
  COMMENT "Generating the mesh D-Bus interface body")
# The body includes its header by plain name.
set_source_files_properties(${ORVAMESH_CODEGEN_BODY} PROPERTIES
  INCLUDE_DIRECTORIES ${PROJECT_BINARY_DIR}/include/orvamesh/dbus
  COMPILE_OPTIONS "-Wno-unused-parameter;-Wno-cast-function-type")
set(ORVAMESH_GENERATED_SOURCES ${ORVAMESH_CODEGEN_BODY} ${ORVAMESH_CODEGEN_HEADER})
