# `cmake --install build --prefix P` gives P/bin/kestrelwing and the run-time
# files under P/share (data/desktop.cmake); `cpack -G DEB` (scripts/package.sh)
# wraps the same tree, installed under /usr, into a Debian package.
install(TARGETS kestrelwing RUNTIME DESTINATION bin)
# Installing and packaging never build: cpack's "preinstall" would otherwise
# build every target (the tests too) first. scripts/package.sh builds before.
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON)

set(CPACK_PACKAGE_NAME kestrelwing)
set(CPACK_PACKAGE_VENDOR "Kestrelwing")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "digital painting with a replayable drawing process")
set(CPACK_PACKAGE_DESCRIPTION "Kestrelwing is a painting program: paint with a mouse or a pressure-sensitive
pen on a layered raster canvas, undo anything, save the drawing process and
replay it stroke by stroke, or export it as a video.")
set(CPACK_PACKAGE_INSTALL_DIRECTORY kestrelwing)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
# The package needs no debugging symbols: they make it some twenty times larger.
set(CPACK_STRIP_FILES ON)
set(CPACK_GENERATOR DEB)

set(KW_PACKAGE_MAINTAINER "Kestrelwing developers <kestrelwing@example.org>"
    CACHE STRING "Maintainer field of the Debian package")
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${KW_PACKAGE_MAINTAINER}")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT) # kestrelwing_<version>_<arch>.deb
set(CPACK_DEBIAN_PACKAGE_SECTION graphics)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
# Run-time dependencies from the libraries the program really links
# (dpkg-shlibdeps, from dpkg-dev).
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The file dialogs of the desktop; without them the program shows its own.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "zenity | kdialog")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "xdg-user-dirs")

include(CPack)
