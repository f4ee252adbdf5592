# The installation. It is relocatable: nothing in it contains its own path.
include(CMakePackageConfigHelpers)

set(interface_version ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/structure_ingest)
set(doc_folder ${CMAKE_INSTALL_DATADIR}/doc/structure-ingest)

# The libraries, and the files by which CMake and pkg-config find them.
set_target_properties(structure_ingest structure_ingest_agent_modules PROPERTIES
  VERSION ${PROJECT_VERSION} SOVERSION ${interface_version})
set_target_properties(structure_ingest_agent_modules PROPERTIES EXPORT_NAME agent_modules)
set_target_properties(structure_ingest_headers PROPERTIES EXPORT_NAME headers)
install(TARGETS structure_ingest structure_ingest_agent_modules structure_ingest_headers
  EXPORT structure_ingest-targets
  COMPONENT development
  FILE_SET HEADERS DESTINATION ${header_folder})
install(EXPORT structure_ingest-targets
  NAMESPACE structure_ingest:: DESTINATION ${package_folder} COMPONENT development)
configure_package_config_file(cmake/structure_ingest-config.cmake.in
  ${PROJECT_BINARY_DIR}/structure_ingest-config.cmake INSTALL_DESTINATION ${package_folder})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/structure_ingest-config-version.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/structure_ingest-config.cmake
  ${PROJECT_BINARY_DIR}/structure_ingest-config-version.cmake
  DESTINATION ${package_folder} COMPONENT development)

# Users of a static library link its dependencies themselves.
# The version of the JSON library is part of the names of our symbols.
set(pc_requires "nlohmann_json = ${nlohmann_json_VERSION}")
if(NOT BUILD_SHARED_LIBS)
  string(APPEND pc_requires " libcrypto libpng libutf8proc simdjson spglib")
endif()
cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX
  BASE_DIRECTORY ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig OUTPUT_VARIABLE pc_prefix)
set(pc_description_structure_ingest "Takes atomic-structure files into a project")
set(pc_description_structure_ingest_agent_modules
  "${pc_description_structure_ingest}, with its own agent modules")
foreach(library structure_ingest structure_ingest_agent_modules)
  set(pc_description "${pc_description_${library}}")
  configure_file(cmake/library.pc.in ${PROJECT_BINARY_DIR}/${library}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${library}.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
endforeach()

# The program, its manual page, completion and schemas.
if(STRUCTURE_INGEST_PROGRAM)
  install(TARGETS structure-ingest COMPONENT program)
  install(FILES docs/structure-ingest.1
    DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT program)
  install(FILES tools/completion.bash RENAME structure-ingest
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT program)
  install(FILES tools/completion.zsh RENAME _structure-ingest
    DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions COMPONENT program)
  install(FILES tools/completion.fish RENAME structure-ingest.fish
    DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d COMPONENT program)
  install(DIRECTORY docs/schema
    DESTINATION ${CMAKE_INSTALL_DATADIR}/structure_ingest COMPONENT program)
endif()

install(FILES LICENSE DESTINATION ${doc_folder} COMPONENT development)

include(cmake/debian/package.cmake)
