# What `cmake --install` lays down: libraries, headers, a CMake package and a pkg-config file, licence, documents and the
# demonstration data. The tree can be moved as a whole. The program installs itself (app/CMakeLists.txt).
include(CMakePackageConfigHelpers)

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/velox_cadenz)
set(package_build_folder ${CMAKE_CURRENT_BINARY_DIR}/package)

install(TARGETS velox_cadenz velox_manager EXPORT velox_cadenz
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES ${VELOX_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/velox)

install(EXPORT velox_cadenz NAMESPACE velox:: FILE velox_cadenz-config.cmake DESTINATION ${package_folder})
write_basic_package_version_file(${package_build_folder}/velox_cadenz-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${package_build_folder}/velox_cadenz-config-version.cmake DESTINATION ${package_folder})

# Paths in the pkg-config file start from where it lies.
file(RELATIVE_PATH pc_to_prefix ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(cmake/velox_cadenz.pc.in ${package_build_folder}/velox_cadenz.pc @ONLY)
install(FILES ${package_build_folder}/velox_cadenz.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

install(FILES README.md LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} OPTIONAL)
install(DIRECTORY docs/ examples DESTINATION ${CMAKE_INSTALL_DOCDIR} OPTIONAL)
install(FILES data/demo.tsv DESTINATION ${CMAKE_INSTALL_DATADIR}/velox_cadenz OPTIONAL)
