# Debian package: cpack -G DEB in the build folder gives pilvanor_<version>_<arch>.deb.
set(CPACK_PACKAGE_NAME pilvanor)
set(CPACK_PACKAGE_VENDOR "The Pilvanor developers")
set(CPACK_PACKAGE_CONTACT "The Pilvanor developers <maintainers@pilvanor.org>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "LAN messenger for net send (SMB/NetBIOS messenger) messages")
set(CPACK_PACKAGE_DESCRIPTION
    "Pilvanor sends short texts to other stations of the local network over the classic net send channel, the
SMB/NetBIOS messenger protocol that Samba and older Windows machines speak, and shows the messages it receives.
It keeps an address book of users and groups, predefined messages, reminders and histories. pilvanor-messenger
receives messages while the window is closed; pilvanor-send sends from scripts.")
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Qt loads its Wayland platform plugin at run time, so no library link tells dpkg-shlibdeps about it: without it
# the program would run through XWayland in a Wayland session, blurred at fractional scales.
set(CPACK_DEBIAN_PACKAGE_DEPENDS qt6-wayland)
# setcap gives pilvanor-messenger port 139; the package installs and works without it, receiving on other ports.
# Qt's own buttons and dialogs speak the chosen language only with Qt's translations.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "libcap2-bin, qt6-translations-l10n")
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_LIST_DIR}/deb/postinst)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
include(CPack)
