# What is installed, and the Debian package that holds the same files. The result may be moved as a whole: programs, pkg-config
# and CMake files find everything relative to themselves.
#
# The SONAMEs are the files' names. The library's carries its version, and hosts open it by that name; the runtime's is the
# name under which the library looks for any runtime with the same C interface.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/tessel)
set_target_properties(tessel13_morv_64 PROPERTIES EXPORT_NAME tessel)
target_compile_features(morvwin INTERFACE cxx_std_20)  # of morv/host.hpp
install(TARGETS morvwin tessel13_morv_64 EXPORT tesselTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})

# The engine, for programs in C++ that own their workspaces: a static library, its headers by their folders.
set_target_properties(tessel_engine PROPERTIES EXPORT_NAME engine)
target_compile_features(tessel_engine INTERFACE cxx_std_20)
install(TARGETS tessel_engine EXPORT tesselTargets ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY src/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/tessel/engine FILES_MATCHING PATTERN "*.h")
install(DIRECTORY include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT tesselTargets NAMESPACE tessel:: FILE tesselConfig.cmake DESTINATION ${package_dir})
write_basic_package_version_file(tesselConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_BINARY_DIR}/tesselConfigVersion.cmake DESTINATION ${package_dir})

file(RELATIVE_PATH pkgconfig_to_prefix ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
foreach(name morvwin tessel)
  configure_file(cmake/${name}.pc.in ${name}.pc @ONLY)
  install(FILES ${CMAKE_BINARY_DIR}/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()

# README, manuals and examples keep their places to each other, so that their links and commands hold.
install(FILES README.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY docs examples DESTINATION ${CMAKE_INSTALL_DOCDIR} USE_SOURCE_PERMISSIONS
        PATTERN *.1 EXCLUDE PATTERN build EXCLUDE)

if(TARGET tessel)
  file(RELATIVE_PATH bin_to_lib ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
  set_target_properties(tessel PROPERTIES INSTALL_RPATH $ORIGIN/${bin_to_lib})
  install(TARGETS tessel RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  add_custom_command(OUTPUT ${CMAKE_BINARY_DIR}/tessel.1.gz DEPENDS docs/tessel.1
                     COMMAND gzip -9nc ${CMAKE_SOURCE_DIR}/docs/tessel.1 > ${CMAKE_BINARY_DIR}/tessel.1.gz)
  add_custom_target(man ALL DEPENDS ${CMAKE_BINARY_DIR}/tessel.1.gz)
  install(FILES ${CMAKE_BINARY_DIR}/tessel.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_NAME tessel)
set(CPACK_PACKAGE_CONTACT "The Tessel developers <tessel@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "econometric estimation, forecasts and a language for time series")
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
    "Tessel is the numeric back end of an econometric modelling package:
recursive estimation, forecasts of linear systems, likelihoods of limited
dependent variable models, conditional variance and regime recursions,
specification tests, and Algebra, a small compiled language that
transforms data and formulates models.
.
The package holds the library, its runtime with headers for programs in C
and C++, and the command tessel.")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION science)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
include(CPack)
