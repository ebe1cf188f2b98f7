# `make package`: a Debian package of the module, tnwebui-run with its render host and viewer,
# the sample host library, the client's pages, the declarations and the sample apps, installed
# under /usr. Its dependencies are the Debian packages of the libraries it links (found by
# dpkg-shlibdeps) and the programs it starts.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME tnwebui)
set(CPACK_PACKAGE_VENDOR "TnWebUI developers")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
    "web-UI module of the desktop client, and tnwebui-run, the light-app workbench")
set(CPACK_PACKAGE_DESCRIPTION
    "The module that the client's host process loads to make and manage browser windows, and that every render process loads to put the native tnpc object on window; tnwebui-run runs a light app against it in Debian's Chromium and checks it.")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "TnWebUI developers <tnwebui@example.com>")
set(CPACK_DEBIAN_PACKAGE_SECTION web)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# dpkg-shlibdeps finds the package's own libraries beside its programs.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_BINARY_DIR} ${CMAKE_BINARY_DIR}/platform)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "chromium, fonts-dejavu-core")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "xvfb")
include(CPack)
