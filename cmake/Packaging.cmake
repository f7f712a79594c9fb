# Debian packages of the CMake build (scripts/package.sh runs cpack -G DEB):
#   libkinolot0      the shared library                 (component library)
#   libkinolot-dev   headers, CMake package, pkg-config  (component development)
#   kinolot          the program, its service and settings (component program)
# Dependencies on other packages come from dpkg-shlibdeps; those between the
# three are stated here.

set(KINOLOT_MAINTAINER "Kinolot developers <kinolot@example.org>")
set(KINOLOT_PACKAGING_DIR ${PROJECT_SOURCE_DIR}/packaging)
set(KINOLOT_CONFIG_FILE ${CMAKE_INSTALL_FULL_SYSCONFDIR}/kinolot/kinolot.conf)

# Installed into /usr, the settings go to /etc and the unit where systemd
# looks for units on Debian, /lib; another prefix gets both below itself.
if(CMAKE_INSTALL_PREFIX STREQUAL "/usr")
  set(KINOLOT_UNIT_DIR /lib/systemd/system)
  set(KINOLOT_CONFIG_DIR /etc/kinolot)
else()
  set(KINOLOT_UNIT_DIR lib/systemd/system)
  set(KINOLOT_CONFIG_DIR ${CMAKE_INSTALL_SYSCONFDIR}/kinolot)
endif()

# What Debian wants in every package's documentation folder: the copyright
# and a changelog, compressed without a time stamp.
function(kinolot_package_docs component package)
  set(KINOLOT_DEB_NAME ${package})
  set(dir ${CMAKE_CURRENT_BINARY_DIR}/packaging/${package})
  configure_file(${KINOLOT_PACKAGING_DIR}/changelog.in ${dir}/changelog @ONLY)
  execute_process(COMMAND gzip -9nf ${dir}/changelog)
  install(FILES ${KINOLOT_PACKAGING_DIR}/copyright ${dir}/changelog.gz
          DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package} COMPONENT ${component})
endfunction()
kinolot_package_docs(library libkinolot0)
# CPack's own maintainer scripts of a library package call ldconfig, which
# the ldconfig trigger the package also activates makes redundant; lintian is
# told so rather than the scripts rewritten.
install(FILES ${KINOLOT_PACKAGING_DIR}/libkinolot0.lintian-overrides
        DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides RENAME libkinolot0 COMPONENT library)
kinolot_package_docs(development libkinolot-dev)

if(TARGET kinolot_command)
  kinolot_package_docs(program kinolot)
  set(generated ${CMAKE_CURRENT_BINARY_DIR}/packaging)
  configure_file(${KINOLOT_PACKAGING_DIR}/kinolot.service.in ${generated}/kinolot.service @ONLY)
  configure_file(${KINOLOT_PACKAGING_DIR}/kinolot.1 ${generated}/kinolot.1 @ONLY)
  execute_process(COMMAND gzip -9nf ${generated}/kinolot.1)
  install(FILES ${generated}/kinolot.service DESTINATION ${KINOLOT_UNIT_DIR} COMPONENT program)
  install(FILES ${KINOLOT_PACKAGING_DIR}/kinolot.conf DESTINATION ${KINOLOT_CONFIG_DIR}
          COMPONENT program)
  install(FILES ${generated}/kinolot.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1
          COMPONENT program)
  file(WRITE ${generated}/conffiles "${KINOLOT_CONFIG_FILE}\n")
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME kinolot)
set(CPACK_PACKAGE_VENDOR "The Kinolot developers")
set(CPACK_PACKAGE_CONTACT ${KINOLOT_MAINTAINER})
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
# Each package's description starts with its own synopsis.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL library development)
if(TARGET kinolot_command)
  list(APPEND CPACK_COMPONENTS_ALL program)
endif()
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER ${KINOLOT_MAINTAINER})
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# dpkg-shlibdeps finds libkinolot.so.0 in the build tree and its package
# through the shlibs file the library's package declares.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_CURRENT_BINARY_DIR})
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY "=")
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME libkinolot0)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/packaging/triggers "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_BINARY_DIR}/packaging/triggers)
set(CPACK_COMPONENT_LIBRARY_DESCRIPTION
    "Video library store of a home media server, in PostgreSQL
Kinolot keeps the videos of a home media server (movies, TV shows and their
episodes, home videos and TV recordings) with their people, genres, files,
collections and posters in a PostgreSQL database, and finds, lists, edits
and merges them.

This package holds the shared library.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libkinolot-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS library)
# The public headers include jsoncpp's, which pkg-config and the CMake
# package name as a dependency.
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libjsoncpp-dev, pkg-config")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
    "Video library store of a home media server - development files
Kinolot keeps the videos of a home media server in a PostgreSQL database.

This package holds the C++ headers, the pkg-config file and the CMake
package (find_package(Kinolot), target Kinolot::kinolot).")

set(CPACK_DEBIAN_PROGRAM_PACKAGE_NAME kinolot)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SECTION video)
set(CPACK_COMPONENT_PROGRAM_DEPENDS library)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_DEPENDS "adduser")
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SUGGESTS "postgresql")
set(CPACK_DEBIAN_PROGRAM_PACKAGE_CONTROL_EXTRA
    "${KINOLOT_PACKAGING_DIR}/postinst;${KINOLOT_PACKAGING_DIR}/prerm;${CMAKE_CURRENT_BINARY_DIR}/packaging/conffiles")
set(CPACK_COMPONENT_PROGRAM_DESCRIPTION
    "Video library of a home media server - scanner, editor and web service
Kinolot keeps the videos of a home media server in a PostgreSQL database,
here or on another machine.

The kinolot command scans folders of video files into the library, lists,
searches and edits it, and serves its web page and JSON interface. The unit
kinolot.service runs the web service as the system user kinolot, with its
settings in /etc/kinolot/kinolot.conf.")

include(CPack)
