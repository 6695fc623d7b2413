# "make package": a Debian package of what "make install" installs, with its
# library dependencies computed by dpkg-shlibdeps.
set(doc_dir ${CMAKE_INSTALL_DATADIR}/doc/vocarta)
configure_file(${PROJECT_SOURCE_DIR}/data/debian/changelog.in ${PROJECT_BINARY_DIR}/debian/changelog
               @ONLY)
add_custom_command(
  OUTPUT ${PROJECT_BINARY_DIR}/debian/changelog.gz
  COMMAND gzip -9nkf ${PROJECT_BINARY_DIR}/debian/changelog
  DEPENDS ${PROJECT_BINARY_DIR}/debian/changelog)
add_custom_target(package_docs ALL DEPENDS ${PROJECT_BINARY_DIR}/debian/changelog.gz)
install(FILES ${PROJECT_SOURCE_DIR}/data/debian/copyright ${PROJECT_BINARY_DIR}/debian/changelog.gz
        DESTINATION ${doc_dir})

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vocarta)
set(CPACK_PACKAGE_VENDOR "The Vocarta developers")
set(CPACK_PACKAGE_CONTACT "The Vocarta developers <packages@vocarta.com>")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "sound recorder for microphones, line inputs and what the machine plays")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION sound)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "https://vocarta.com/")
# CPack puts the summary before this as the synopsis line.
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
    "Vocarta records from any input device of the sound server into WAV, MP3,
AIFF or FLAC files under names built from a pattern. It is driven from its
window, the tray, global hot-keys, schedules or command-line switches, runs
without a window on servers, trims silence, and sends finished recordings
on by FTP or e-mail.")
# The libraries the programs link come from dpkg-shlibdeps; Qt's display
# plugins are loaded at run time, and so is LAME, which only MP3 needs.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "qt6-qpa-plugins")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "libmp3lame0, pulseaudio | pipewire-pulse, xdg-utils")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "qt6-wayland")
include(CPack)
