# The Debian package of the program. CPack builds it; tools/build-deb runs CPack.
set(CPACK_GENERATOR DEB)
set(CPACK_INSTALL_CMAKE_PROJECTS "${PROJECT_BINARY_DIR};${PROJECT_NAME};program;/")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_STRIP_FILES ON)

set(CPACK_PACKAGE_NAME structure-ingest)
set(CPACK_PACKAGE_CONTACT "structure_ingest developers <developers@structure-ingest.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "takes atomic-structure files into a project")
set(CPACK_PACKAGE_DESCRIPTION
"The program structure-ingest takes the XYZ, CIF and VASP files that a user
supplies into a project for electronic-structure calculations: each is parsed
into one record, copied into the project as extended XYZ, fingerprinted, and
recorded in a manifest. A bad file is a warning, never a failure.
.
CIF and VASP files are read by ASE, the Atomic Simulation Environment.")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION science)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS python3-ase)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

# The files that Debian requires besides the program; texts are compressed before packaging.
set(debian_doc_folder share/doc/structure-ingest)
configure_file(cmake/debian/changelog.in ${PROJECT_BINARY_DIR}/debian/changelog @ONLY)
if(CMAKE_INSTALL_PREFIX STREQUAL /usr)
  install(FILES ${PROJECT_BINARY_DIR}/debian/changelog cmake/debian/copyright
    DESTINATION ${debian_doc_folder} COMPONENT program)
endif()
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/debian/compress.cmake)
include(CPack)

# What C++ callers need is a package of its own.
configure_file(cmake/debian/development_package.cmake.in
  ${PROJECT_BINARY_DIR}/CPackDevelopmentConfig.cmake @ONLY)
if(CMAKE_INSTALL_PREFIX STREQUAL /usr)
  install(FILES ${PROJECT_BINARY_DIR}/debian/changelog cmake/debian/copyright
    DESTINATION share/doc/libstructure-ingest-dev COMPONENT development)
endif()

# The Python package is a package of its own.
if(STRUCTURE_INGEST_PYTHON_PACKAGE)
  configure_file(cmake/debian/python_package.cmake.in
    ${PROJECT_BINARY_DIR}/CPackPythonConfig.cmake @ONLY)
  if(CMAKE_INSTALL_PREFIX STREQUAL /usr)
    install(FILES ${PROJECT_BINARY_DIR}/debian/changelog cmake/debian/copyright
      DESTINATION share/doc/python3-structure-ingest COMPONENT python)
  endif()
endif()
