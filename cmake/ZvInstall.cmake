# What `cmake --install` puts where, for programs that load the library and for people who mount an
# account. Everything may be moved as a whole afterwards: no installed file names the prefix.
include(CMakePackageConfigHelpers)

set_target_properties(ZVWorker PROPERTIES EXPORT_NAME zvworker)
install(TARGETS ZVWorker EXPORT ZVWorkerTargets
        RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}"
        LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
        ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}")
# Found at run time by its name alone: nobody links with it, so its import library stays here.
install(TARGETS ZVUtil
        RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}"
        LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}")
install(TARGETS zvdrive RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
install(DIRECTORY include/zvworker DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")

set(package_folder "${CMAKE_INSTALL_LIBDIR}/cmake/ZVWorker")
write_basic_package_version_file("${PROJECT_BINARY_DIR}/ZVWorkerConfigVersion.cmake"
                                 COMPATIBILITY SameMajorVersion)
install(FILES cmake/ZVWorkerConfig.cmake "${PROJECT_BINARY_DIR}/ZVWorkerConfigVersion.cmake"
        DESTINATION "${package_folder}")
install(EXPORT ZVWorkerTargets NAMESPACE ZVWorker:: DESTINATION "${package_folder}")

set(documents docs/configuration.md docs/driver-protocol.md docs/security.md docs/semantics.md)
if(WIN32)
  configure_file(cmake/README-windows.txt.in "${PROJECT_BINARY_DIR}/README.txt" @ONLY
                 NEWLINE_STYLE CRLF)
  install(FILES "${PROJECT_BINARY_DIR}/README.txt" DESTINATION .)
  install(FILES ${documents} DESTINATION doc)
  # For linkers that make their own import library.
  install(FILES worker/zvworker.def DESTINATION "${CMAKE_INSTALL_LIBDIR}")
else()
  install(FILES ${documents} DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/doc/zvworker")
  install(FILES docs/examples/zvworker.py
          DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/doc/zvworker/examples")
  install(FILES apps/zvdrive/zvdrive.1 DESTINATION "${CMAKE_INSTALL_MANDIR}/man1")
  set(pc_folder "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig")
  file(RELATIVE_PATH PC_TO_LIBDIR "${pc_folder}" "${CMAKE_INSTALL_FULL_LIBDIR}")
  file(RELATIVE_PATH PC_TO_INCLUDEDIR "${pc_folder}" "${CMAKE_INSTALL_FULL_INCLUDEDIR}")
  configure_file(cmake/zvworker.pc.in "${PROJECT_BINARY_DIR}/zvworker.pc" @ONLY)
  install(FILES "${PROJECT_BINARY_DIR}/zvworker.pc"
          DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
endif()
