# SPDX-License-Identifier: Apache-2.0
# What is installed beside programs and libraries, and the Debian packages.
set(documents ${CMAKE_INSTALL_DATAROOTDIR}/doc)
install(DIRECTORY docs/ DESTINATION ${documents}/corvane)
install(FILES LICENSE DESTINATION ${documents}/corvane RENAME copyright)
install(FILES LICENSE DESTINATION ${documents}/corvane-geo RENAME copyright COMPONENT geo)
install(FILES LICENSE DESTINATION ${documents}/corvane-window RENAME copyright COMPONENT window)

# Man pages and completion are written by the program itself.
set(reference ${CMAKE_BINARY_DIR}/reference)
set(write_completion "for shell in bash zsh fish; do \"$0\" help --completion $shell >\"$1/$shell\" || exit; done")
add_custom_command(OUTPUT ${reference}/fish
    COMMAND ${CMAKE_COMMAND} -E rm -rf ${reference}
    COMMAND corvane help --man ${reference}/man1
    COMMAND sh -c "${write_completion}" $<TARGET_FILE:corvane> ${reference}
    DEPENDS corvane
    COMMENT "Writing man pages and completion"
    VERBATIM)
add_custom_target(reference ALL DEPENDS ${reference}/fish)
install(DIRECTORY ${reference}/man1 DESTINATION ${CMAKE_INSTALL_MANDIR})
set(shells ${CMAKE_INSTALL_DATAROOTDIR})
install(FILES ${reference}/bash DESTINATION ${shells}/bash-completion/completions RENAME corvane)
install(FILES ${reference}/zsh DESTINATION ${shells}/zsh/vendor-completions RENAME _corvane)
install(FILES ${reference}/fish DESTINATION ${shells}/fish/vendor_completions.d RENAME corvane.fish)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_VENDOR Corvane)
set(CPACK_PACKAGE_CONTACT "The developers of Corvane")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL corvane geo window)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION science)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The host's libraries belong to no package yet when what needs them is looked at.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_BINARY_DIR}/host)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_DEBIAN_CORVANE_PACKAGE_NAME corvane)
set(CPACK_DEBIAN_CORVANE_PACKAGE_DEPENDS fonts-dejavu-core) # of the texts in pictures
set(CPACK_DEBIAN_CORVANE_PACKAGE_RECOMMENDS "corvane-geo, corvane-window")
set(CPACK_COMPONENT_CORVANE_DESCRIPTION
    "corrects the classification of LIDAR point clouds
Gives exactly the points that are meant another class, and returns the LAS,
LAZ or COPC file with nothing else changed. Counts, checks, compares and draws
surveys for reports.")

set(CPACK_DEBIAN_GEO_PACKAGE_NAME corvane-geo)
set(CPACK_DEBIAN_GEO_PACKAGE_DEPENDS "corvane (= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_GEO_DESCRIPTION
    "coordinate systems and polygon files for corvane
Lets corvane transform polygons to the coordinates of a survey, and read them
from GeoPackage, Shapefile, KML, FlatGeobuf and CSV.")

set(CPACK_DEBIAN_WINDOW_PACKAGE_NAME corvane-window)
set(CPACK_DEBIAN_WINDOW_PACKAGE_DEPENDS "corvane (= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_WINDOW_DESCRIPTION
    "window to look at point clouds and edit them by hand, for corvane
Shows surveys from above and in profiles, and corrects classes by lasso, brush
and line: corvane open FILE.")
include(CPack)

add_test(NAME packages CONFIGURATIONS Packages
    COMMAND ${CMAKE_SOURCE_DIR}/scripts/test-packages.sh ${CMAKE_BINARY_DIR})
set_tests_properties(packages PROPERTIES LABELS packages SKIP_RETURN_CODE 77 TIMEOUT 1800)
