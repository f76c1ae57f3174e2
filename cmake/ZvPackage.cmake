# What `cpack` makes of the installed files: a Debian package, or a .zip for Windows.
set(CPACK_PACKAGE_NAME zvworker)
set(CPACK_PACKAGE_VENDOR "ZVWorker maintainers")
set(CPACK_PACKAGE_CONTACT "ZVWorker maintainers <maintainers@zvworker.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "shows an online storage account as a drive")
set(CPACK_STRIP_FILES ON)
set(CPACK_THREADS 0)

if(WIN32)
  set(CPACK_GENERATOR ZIP)
  set(CPACK_PACKAGE_FILE_NAME "ZVWorker-${PROJECT_VERSION}-windows-x64")
else()
  set(CPACK_GENERATOR DEB)
  set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
  set(CPACK_DEBIAN_PACKAGE_SECTION utils)
  set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
      "zvdrive mounts an account on a WebDAV server as a folder. libzvworker is the same
for programs of one's own, with a C header, a CMake package and a pkg-config file.")
  # The mount's helper program is started, not linked with.
  set(CPACK_DEBIAN_PACKAGE_DEPENDS fuse3)
  set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
  find_program(ZV_SHLIBDEPS dpkg-shlibdeps)
  if(ZV_SHLIBDEPS)
    set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  endif()
endif()
include(CPack)
