# What is installed of the application, and the Debian package: the bundle goes whole to /opt, where
# nothing but its own files lies beside them; the desktop is told of it under /usr.

if(APPLE)
    install(DIRECTORY "${TALVEK_BUNDLE}" DESTINATION . USE_SOURCE_PERMISSIONS COMPONENT application)
    return()
endif()

set(TALVEK_INSTALLED_BUNDLE "/opt/${TALVEK_BUNDLE_NAME}.app")
set(TALVEK_INSTALLED_EXECUTABLE
    "${TALVEK_INSTALLED_BUNDLE}/Contents/MacOS/${TALVEK_BUNDLE_NAME}")
install(TARGETS talvek_app RUNTIME DESTINATION "${TALVEK_INSTALLED_BUNDLE}/Contents/MacOS"
    COMPONENT application)
install(FILES "${TALVEK_BUNDLE}/Contents/Info.plist"
    DESTINATION "${TALVEK_INSTALLED_BUNDLE}/Contents" COMPONENT application)
install(DIRECTORY "${TALVEK_BUNDLE}/Contents/Resources"
    DESTINATION "${TALVEK_INSTALLED_BUNDLE}/Contents" COMPONENT application)

set(TALVEK_DESKTOP_FILES "${CMAKE_BINARY_DIR}/desktop")
configure_file("${TALVEK_RESOURCES}/linux/talvek-psd-repair.desktop.in"
    "${TALVEK_DESKTOP_FILES}/talvek-psd-repair.desktop" @ONLY)
configure_file("${TALVEK_RESOURCES}/linux/example.talvek.psd_repair.metainfo.xml.in"
    "${TALVEK_DESKTOP_FILES}/example.talvek.psd_repair.metainfo.xml" @ONLY)
install(FILES "${TALVEK_DESKTOP_FILES}/talvek-psd-repair.desktop"
    DESTINATION "${CMAKE_INSTALL_DATADIR}/applications" COMPONENT application)
install(FILES "${TALVEK_DESKTOP_FILES}/example.talvek.psd_repair.metainfo.xml"
    DESTINATION "${CMAKE_INSTALL_DATADIR}/metainfo" COMPONENT application)
install(FILES "${TALVEK_RESOURCES}/linux/talvek-psd-repair.xml"
    DESTINATION "${CMAKE_INSTALL_DATADIR}/mime/packages" COMPONENT application)
install(FILES "${TALVEK_RESOURCES}/linux/copyright"
    DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/talvek-psd-repair" COMPONENT application)
foreach(size 16 24 32 48 64 128 256 512)
    install(FILES "${TALVEK_RESOURCES}/icons/${size}x${size}/talvek-psd-repair.png"
        DESTINATION "${CMAKE_INSTALL_DATADIR}/icons/hicolor/${size}x${size}/apps"
        COMPONENT application)
endforeach()
install(FILES "${TALVEK_RESOURCES}/svg/application.svg"
    DESTINATION "${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps"
    RENAME talvek-psd-repair.svg COMPONENT application)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME talvek-psd-repair)
set(CPACK_PACKAGE_VENDOR Talvek)
set(CPACK_PACKAGE_CONTACT "Talvek <support@talvek.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGE_DESCRIPTION
    "Reads a damaged PSD document straight from the disk and brings back the whole picture, every
layer and mask that can still be found, and the thumbnail, each as a file of its own; its deep
recovery puts what survives back into one layered document. With a window for looking at them, and a
command line.")
# The bundle's place is absolute.
set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION graphics)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "qt6-wayland, qt6-gtk-platformtheme")
include(CPack)
