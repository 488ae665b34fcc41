# Run by cpack on what it has installed into its own folder: what distributions want in other places, or compressed.
set(usr ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/usr)
set(documents ${usr}/share/doc/${CPACK_PACKAGE_NAME})
file(GLOB texts ${usr}/share/man/man1/*.1)
file(COPY ${usr}/share/systemd DESTINATION ${usr}/lib NO_SOURCE_PERMISSIONS)
file(REMOVE_RECURSE ${usr}/share/systemd)

if(CPACK_GENERATOR STREQUAL "DEB")
  set(debian ${CMAKE_CURRENT_LIST_DIR}/debian)
  set(version ${CPACK_PACKAGE_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})
  file(STRINGS ${debian}/changelog latest LIMIT_COUNT 1)
  if(NOT latest MATCHES "^${CPACK_PACKAGE_NAME} \\(${version}\\) ")
    message(FATAL_ERROR "packaging/debian/changelog begins with another version than ${version}: ${latest}")
  endif()
  file(COPY ${debian}/copyright ${debian}/changelog DESTINATION ${documents} NO_SOURCE_PERMISSIONS)
  file(RENAME ${documents}/changelog ${documents}/changelog.Debian)
  file(RENAME ${documents}/CHANGELOG.md ${documents}/changelog)
  list(APPEND texts ${documents}/changelog.Debian ${documents}/changelog)
  file(COPY ${debian}/lintian-overrides DESTINATION ${usr}/share/lintian/overrides NO_SOURCE_PERMISSIONS)
  file(RENAME ${usr}/share/lintian/overrides/lintian-overrides ${usr}/share/lintian/overrides/${CPACK_PACKAGE_NAME})
  file(RENAME ${usr}/share/zsh/site-functions ${usr}/share/zsh/vendor-completions)
endif()

execute_process(COMMAND gzip -9n ${texts} COMMAND_ERROR_IS_FATAL ANY)
file(CHMOD_RECURSE ${usr} DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
     WORLD_READ WORLD_EXECUTE)  # whatever the umask was
