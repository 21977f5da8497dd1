# What `cmake --install` puts where, below any prefix, and the Debian package that CPack makes of it.
#
# The program lies in a folder of its own with the simulated instrument beside it, where it looks for it; in bin there
# is a relative link, so that the installed tree can be moved.
set(QORN_PACKAGE qorn-timing)
set(QORN_PRIVATE_DIR ${CMAKE_INSTALL_LIBEXECDIR}/${QORN_PACKAGE})
set(QORN_DOC_DIR ${CMAKE_INSTALL_DATAROOTDIR}/doc/${QORN_PACKAGE})
set(QORN_PACKAGE_CONTACT "QORN Timing developers <timing@qorn.example>" CACHE STRING
  "Name and address of who is to be asked about packages")

install(TARGETS qorn_timetagger RUNTIME DESTINATION ${QORN_PRIVATE_DIR})
install(TARGETS qorn_simulator LIBRARY DESTINATION ${QORN_PRIVATE_DIR})
install(TARGETS qornts RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

file(RELATIVE_PATH program_from_bin /${CMAKE_INSTALL_BINDIR} /${QORN_PRIVATE_DIR}/qorn_timetagger)
file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/packaging/bin)
file(CREATE_LINK ${program_from_bin} ${PROJECT_BINARY_DIR}/packaging/bin/qorn_timetagger SYMBOLIC)
install(FILES ${PROJECT_BINARY_DIR}/packaging/bin/qorn_timetagger DESTINATION ${CMAKE_INSTALL_BINDIR})

# qorn_install_compressed(FILE FOLDER): a text with the project's version in it, packed by gzip where there is
# one.
find_program(QORN_GZIP gzip)
function(qorn_install_compressed source folder)
  cmake_path(GET source FILENAME name)
  string(REGEX REPLACE "\\.in$" "" name ${name})
  set(made ${PROJECT_BINARY_DIR}/packaging/${name})
  configure_file(${source} ${made} @ONLY)
  if(QORN_GZIP)
    execute_process(COMMAND ${QORN_GZIP} -9 -n -c ${made} OUTPUT_FILE ${made}.gz COMMAND_ERROR_IS_FATAL ANY)
    set(made ${made}.gz)
  endif()
  install(FILES ${made} DESTINATION ${folder})
endfunction()

set(packaging ${PROJECT_SOURCE_DIR}/packaging)
foreach(page qorn_timetagger qornts)
  qorn_install_compressed(${packaging}/man/${page}.1.in ${CMAKE_INSTALL_MANDIR}/man1)
endforeach()

install(FILES ${packaging}/qorn_timetagger.desktop DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/applications)
configure_file(${packaging}/org.qorn.timing.metainfo.xml.in
  ${PROJECT_BINARY_DIR}/packaging/org.qorn.timing.metainfo.xml @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/packaging/org.qorn.timing.metainfo.xml
  DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/metainfo)

set(icon_folder ${CMAKE_INSTALL_DATAROOTDIR}/icons/hicolor)
install(DIRECTORY ${packaging}/icons/ DESTINATION ${icon_folder} FILES_MATCHING PATTERN "*.png")
install(FILES ${PROJECT_SOURCE_DIR}/resources/icons/logo_mark.svg
  DESTINATION ${icon_folder}/scalable/apps RENAME qorn_timetagger.svg)

install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs/manual ${PROJECT_SOURCE_DIR}/docs/images DESTINATION ${QORN_DOC_DIR})
install(FILES ${PROJECT_SOURCE_DIR}/docs/formats.md ${PROJECT_SOURCE_DIR}/docs/simulator.md
  DESTINATION ${QORN_DOC_DIR})
install(FILES ${packaging}/debian/copyright DESTINATION ${QORN_DOC_DIR})
qorn_install_compressed(${packaging}/debian/changelog.in ${QORN_DOC_DIR})

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME ${QORN_PACKAGE})
set(CPACK_PACKAGE_VENDOR QORN)
set(CPACK_PACKAGE_CONTACT ${QORN_PACKAGE_CONTACT})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "count, correlate and record the pulses of a time tagger")
set(CPACK_PACKAGE_DESCRIPTION
"QORN Timing operates a four-input time-to-digital converter on USB, or follows
another host's over the network. It shows count rates, coincidences,
correlations, g2, lifetimes and frequencies live, keeps logs, and records every
tag. Without the instrument's driver library it measures with a simulated one.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_OUTPUT_FILE_PREFIX ${PROJECT_BINARY_DIR}/package)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION science)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The icons are SVG, whose plugin became a package of its own after Qt 6.4.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "qt6-svg-plugins | libqt6svg6 (<< 6.5)")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "fonts-dejavu-core, qt6-wayland")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
include(CPack)
