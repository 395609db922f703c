# The Debian package, made by ./run package.

set(changes ${PROJECT_SOURCE_DIR}/CHANGELOG.md)
add_custom_command(OUTPUT changelog.gz
  COMMAND ${CMAKE_CURRENT_LIST_DIR}/changelog ${changes} ${FERRIN_MAINTAINER} changelog.gz
  DEPENDS ${CMAKE_CURRENT_LIST_DIR}/changelog ${changes} VERBATIM)
add_custom_target(ferrin_changelog ALL DEPENDS changelog.gz)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/changelog.gz copyright DESTINATION share/doc/ferrin-relay)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME ferrin-relay)
set(CPACK_PACKAGE_VENDOR "Ferrin Relay maintainers")
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/package)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES OFF) # what the package of symbols takes out is there only before
set(CPACK_DEBIAN_DEBUGINFO_PACKAGE ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER ${FERRIN_MAINTAINER})
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE ${FERRIN_WEBSITE})
set(CPACK_DEBIAN_PACKAGE_SECTION devel)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# libcurl is loaded when it is first needed, so nothing finds it in the program.
file(REAL_PATH ${CURL_LIBRARY_RELEASE} library)
execute_process(COMMAND dpkg-query --search ${library} OUTPUT_VARIABLE curl ERROR_QUIET)
string(REGEX REPLACE "^([^:,]+).*" "\\1, " curl "${curl}")
# Some texts are Chinese, and so may be what people enter. The first of the fonts is the smallest of those that have it.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "${curl}ca-certificates, hicolor-icon-theme, \
fonts-droid-fallback | fonts-noto-cjk | fonts-wqy-microhei | fonts-wqy-zenhei")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "fonts-noto-cjk, qt6-wayland")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "gnome-shell-extension-appindicator, runit")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "private relay from the Ferrin agent to a model provider")
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
"Ferrin Relay keeps the address and key of a model provider in files that
only their user can read, and runs a small relay on the user's own machine.
The agent talks to the relay, which adds the key to each request on its way
to the provider. The relay is a service of the user's, started at login by
the user's service manager, such as systemd.")
include(CPack)
