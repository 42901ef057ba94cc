# Debian packages of the installed components, which scripts/package builds: see docs/installation.md. They are those of
# an installation below /usr with SPF_INSTALL_ROOT.
if(NOT SPF_INSTALL_ROOT OR NOT TARGET spfctl)
  return()
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL libraries development bundles tools)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
# Who packages says so as for all of Debian's tools; the project has no mailbox of its own.
set(CPACK_PACKAGE_CONTACT "SPF developers <spf@localhost.localdomain>")
if(DEFINED ENV{DEBFULLNAME} AND DEFINED ENV{DEBEMAIL})
  set(CPACK_PACKAGE_CONTACT "$ENV{DEBFULLNAME} <$ENV{DEBEMAIL}>")
endif()
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${CMAKE_LIBRARY_OUTPUT_DIRECTORY}")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(package_version "${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}")

set(library_package "libspf-frameworksetup${PROJECT_VERSION_MAJOR}")
set(CPACK_DEBIAN_LIBRARIES_PACKAGE_NAME ${library_package})
set(CPACK_DEBIAN_LIBRARIES_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_LIBRARIES_DESCRIPTION "libraries that set up the SPF service framework
 The library that configures the SPF service framework in a host process,
 the host libraries for filesystem, logging and services, and the embedded
 runtime with its Configuration Admin service.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libspf-frameworksetup-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "${library_package} (= ${package_version}), libboost-dev (>= 1.74), libboost-log-dev (>= 1.74)")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS "cmake, pkg-config")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "headers of the library that sets up the SPF service framework
 The headers, the CMake package spf-frameworksetup, files for pkg-config, and
 examples.")
set(CPACK_DEBIAN_BUNDLES_PACKAGE_NAME spf-framework-bundles)
set(CPACK_DEBIAN_BUNDLES_PACKAGE_SECTION libs)
# Loaded by name when etcd is used, so that no tool sees that it is needed.
set(CPACK_DEBIAN_BUNDLES_PACKAGE_DEPENDS "${library_package} (= ${package_version}), libcurl4 (>= 7.84)")
set(CPACK_COMPONENT_BUNDLES_DESCRIPTION "bundles of the SPF reference framework
 The bundles that hosts install: the controller, the publishers, the ZeroMQ
 transport, discovery by a table or etcd, the JSON serialiser, the directory of
 peers, and sample services.")
set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME spfctl)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION net)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS
    "${library_package} (= ${package_version}), spf-framework-bundles (= ${package_version}), libcurl4 (>= 7.84)")
set(CPACK_COMPONENT_TOOLS_DESCRIPTION "command line host of the SPF service framework
 Checks, shows and publishes configuration files, asks and changes running
 hosts, and makes keys. A unit of systemd runs hosts as services.")

# dpkg asks for the libraries' package on behalf of whatever is linked with them: by the symbols that it uses, or, for tools
# that know no symbols, by the library. CPack's own file would name the bundle Configuration Admin too. What
# libspf_frameworksetup.so exports is fixed, so what uses it needs the version that cmake/frameworksetup.symbols names. What
# uses the others needs the version that it was built with.
set(shlibs_lines "")
set(symbols_lines "")
set(symbols_libraries "")
foreach(target IN LISTS SPF_SHARED_LIBRARIES)
  get_target_property(name ${target} OUTPUT_NAME)
  if(NOT name)
    set(name ${target})
  endif()
  string(APPEND shlibs_lines "lib${name} ${PROJECT_VERSION_MAJOR} ${library_package} (>= ${PROJECT_VERSION})\n")
  string(APPEND symbols_lines "lib${name}.so.${PROJECT_VERSION_MAJOR} ${library_package} #MINVER#\n")
  if(target STREQUAL "spf_frameworksetup")
    file(READ cmake/frameworksetup.symbols symbols)
    string(APPEND symbols_lines "${symbols}")
  else()
    string(APPEND symbols_lines " (regex)\"@Base$\" ${PROJECT_VERSION}\n")
  endif()
  list(APPEND symbols_libraries "-e$<TARGET_FILE:${target}>")
endforeach()
set(shlibs "${PROJECT_BINARY_DIR}/install/shlibs")
file(WRITE "${shlibs}" "${shlibs_lines}")
set(CPACK_DEBIAN_LIBRARIES_PACKAGE_CONTROL_EXTRA "${shlibs}")

find_program(SPF_DPKG_GENSYMBOLS dpkg-gensymbols)
mark_as_advanced(SPF_DPKG_GENSYMBOLS)
if(SPF_DPKG_GENSYMBOLS)
  set(symbols "${PROJECT_BINARY_DIR}/install/symbols")
  file(CONFIGURE OUTPUT "${symbols}.template" CONTENT "${symbols_lines}" @ONLY)
  # Fails if a symbol is missing, or is new and not listed.
  add_custom_command(OUTPUT "${symbols}"
    COMMAND ${SPF_DPKG_GENSYMBOLS} -q -c4 "-p${library_package}" "-v${package_version}" "-I${symbols}.template"
            "-O${symbols}" ${symbols_libraries}
    DEPENDS "${symbols}.template" ${SPF_SHARED_LIBRARIES}
    WORKING_DIRECTORY "${PROJECT_BINARY_DIR}/install"
    COMMENT "Listing the libraries' symbols for dpkg"
    VERBATIM)
  add_custom_target(spf_symbols ALL DEPENDS "${symbols}")
  list(APPEND CPACK_DEBIAN_LIBRARIES_PACKAGE_CONTROL_EXTRA "${symbols}")
endif()

# Every package has the copyright, the change log and its own exceptions from the rules that lintian checks.
file(STRINGS CHANGELOG.md releases REGEX "^## \\[?[0-9]+\\.[0-9]+\\.[0-9]+\\]? - [0-9-]+$" LIMIT_COUNT 1)
if(NOT releases MATCHES "${PROJECT_VERSION}\\]? - ([0-9]+-[0-9]+-[0-9]+)$")
  message(FATAL_ERROR "CHANGELOG.md does not begin with a release ${PROJECT_VERSION} and its date")
endif()
execute_process(COMMAND date -u -R -d "${CMAKE_MATCH_1}" OUTPUT_VARIABLE date OUTPUT_STRIP_TRAILING_WHITESPACE
                COMMAND_ERROR_IS_FATAL ANY)
set(texts "${PROJECT_BINARY_DIR}/install/texts")
file(WRITE "${texts}/changelog.Debian" "spf-frameworksetup (${package_version}) unstable; urgency=medium

  * See changelog.gz for the changes of this release.

 -- ${CPACK_PACKAGE_CONTACT}  ${date}
")
configure_file(CHANGELOG.md "${texts}/changelog" COPYONLY)
foreach(text IN ITEMS changelog changelog.Debian)
  execute_process(COMMAND gzip --best --no-name --force --keep "${texts}/${text}" COMMAND_ERROR_IS_FATAL ANY)
endforeach()
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${component} upper)
  set(package ${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
  install(FILES COPYRIGHT DESTINATION ${SPF_SHARE_DIR}/doc/${package} COMPONENT ${component} RENAME copyright)
  install(FILES "${texts}/changelog.gz" "${texts}/changelog.Debian.gz"
          DESTINATION ${SPF_SHARE_DIR}/doc/${package} COMPONENT ${component})
  set(exceptions "${PROJECT_SOURCE_DIR}/cmake/lintian/${component}")
  if(EXISTS "${exceptions}")
    install(FILES "${exceptions}" DESTINATION ${SPF_SHARE_DIR}/lintian/overrides COMPONENT ${component} RENAME ${package})
  endif()
endforeach()
include(CPack)
