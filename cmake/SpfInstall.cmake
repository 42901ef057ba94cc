# Install rules, the CMake package spf-frameworksetup and files for pkg-config. The installed tree can be moved as a whole.
# The components are the Debian packages of SpfPackages.cmake.
include(CMakePackageConfigHelpers)

set(SPF_EXPORTED_TARGETS
    spf_cppmicroservices spf_host_filesystem spf_host_logging spf_host_services
    spf_frameworklistener spf_frameworkinterfaces spf_frameworksupport spf_frameworkwatch
    spf_frameworksetup)
# What a program needs at run time.
set(SPF_SHARED_LIBRARIES spf_host_filesystem spf_host_logging spf_host_services spf_frameworksetup)
if(SPF_RUNTIME STREQUAL "bundled")
  list(APPEND SPF_EXPORTED_TARGETS spf_runtime)
  list(APPEND SPF_SHARED_LIBRARIES spf_runtime)
  install(DIRECTORY runtime/framework/include/ runtime/configurationadmin/include/
          DESTINATION ${SPF_RUNTIME_INCLUDE_DIR} COMPONENT development)
  # As it is: stripping or relinking would cut the bundle's archive off.
  install(FILES $<TARGET_FILE:ConfigurationAdmin> DESTINATION ${SPF_INSTALL_LIB_DIR} COMPONENT libraries)
endif()

install(TARGETS ${SPF_EXPORTED_TARGETS} EXPORT spf-frameworksetup-targets
        LIBRARY DESTINATION ${SPF_INSTALL_LIB_DIR} COMPONENT libraries NAMELINK_COMPONENT development
        ARCHIVE DESTINATION ${SPF_INSTALL_LIB_DIR} COMPONENT development)
install(DIRECTORY include/ host/filesystem/include/ host/logging/include/ host/services/include/
                  framework/listener/include/ framework/interfaces/include/ framework/support/include/
                  framework/watch/include/
        DESTINATION ${SPF_INCLUDE_DIR} COMPONENT development FILES_MATCHING PATTERN "*.hpp")

# The build tree has the same shape, so it can have the same search paths for libraries. Otherwise CMake reserves room for the
# installed ones with empty entries, and the loader takes each of them for the current folder.
set_target_properties(${SPF_SHARED_LIBRARIES} PROPERTIES BUILD_WITH_INSTALL_RPATH ON)
if(TARGET spfctl)
  set_target_properties(spfctl PROPERTIES BUILD_WITH_INSTALL_RPATH ON)
endif()

# spf_install_link(<target of the link> <link> <component>): both below the prefix.
function(spf_install_link target link component)
  cmake_path(GET link PARENT_PATH folder)
  cmake_path(GET link FILENAME name)
  cmake_path(RELATIVE_PATH target BASE_DIRECTORY "${folder}" OUTPUT_VARIABLE relative)
  file(MAKE_DIRECTORY "${PROJECT_BINARY_DIR}/install/links/${folder}")
  file(CREATE_LINK "${relative}" "${PROJECT_BINARY_DIR}/install/links/${link}" SYMBOLIC)
  install(FILES "${PROJECT_BINARY_DIR}/install/links/${link}" DESTINATION "${folder}" COMPONENT ${component})
endfunction()

# The loader and the shell find a tree that is apart from the prefix through links.
if(SPF_INSTALL_ROOT)
  foreach(target IN LISTS SPF_SHARED_LIBRARIES)
    get_target_property(name ${target} OUTPUT_NAME)
    if(NOT name)
      set(name ${target})
    endif()
    spf_install_link(${SPF_INSTALL_LIB_DIR}/lib${name}.so.${PROJECT_VERSION_MAJOR}
                     ${SPF_INSTALL_TEXT_LIB_DIR}/lib${name}.so.${PROJECT_VERSION_MAJOR} libraries)
  endforeach()
endif()

if(TARGET spfctl)
  install(TARGETS spfctl EXPORT spf-frameworksetup-tools-targets RUNTIME DESTINATION ${SPF_INSTALL_BIN_DIR} COMPONENT tools)
  set(spfctl_path "${SPF_INSTALL_BIN_DIR}/spfctl")
  if(NOT SPF_INSTALL_ROOT)
    install(DIRECTORY ${PROJECT_BINARY_DIR}/${SPF_SHARE_DIR}/ DESTINATION ${SPF_SHARE_DIR} COMPONENT tools)
  else()
    # A distribution's manual pages are compressed.
    install(DIRECTORY ${PROJECT_BINARY_DIR}/${SPF_SHARE_DIR}/ DESTINATION ${SPF_SHARE_DIR} COMPONENT tools
            PATTERN man EXCLUDE)
    set(manual "${PROJECT_BINARY_DIR}/install/spfctl.1.gz")
    install(CODE "execute_process(COMMAND gzip --best --no-name --stdout
      \"${PROJECT_BINARY_DIR}/${SPF_SHARE_DIR}/man/man1/spfctl.1\" OUTPUT_FILE \"${manual}\" COMMAND_ERROR_IS_FATAL ANY)"
      COMPONENT tools)
    install(FILES "${manual}" DESTINATION ${SPF_SHARE_DIR}/man/man1 COMPONENT tools)
    set(spfctl_path "${SPF_BIN_DIR}/spfctl")
    spf_install_link(${SPF_INSTALL_BIN_DIR}/spfctl ${spfctl_path} tools)
  endif()
  # The prefix is known for certain when it is installed.
  set(unit "${PROJECT_BINARY_DIR}/install/spfctl@.service")
  install(CODE "
    get_filename_component(SPFCTL \"\${CMAKE_INSTALL_PREFIX}/${spfctl_path}\" ABSOLUTE)
    string(REPLACE \"%\" \"%%\" SPFCTL \"\${SPFCTL}\")
    configure_file(\"${PROJECT_SOURCE_DIR}/tools/spfctl/share/spfctl@.service.in\" \"${unit}\" @ONLY)" COMPONENT tools)
  install(FILES "${unit}" DESTINATION "${SPF_SYSTEMD_UNIT_DIR}" COMPONENT tools)
  install(EXPORT spf-frameworksetup-tools-targets NAMESPACE spf:: DESTINATION ${SPF_PACKAGE_DIR} COMPONENT development)
endif()
set(examples "${SPF_SHARE_DIR}/doc/spf-frameworksetup")
if(SPF_INSTALL_ROOT)
  set(examples "${SPF_SHARE_DIR}/doc/libspf-frameworksetup-dev")
endif()
install(DIRECTORY examples DESTINATION "${examples}" COMPONENT development USE_SOURCE_PERMISSIONS)
if(NOT SPF_INSTALL_ROOT)
  install(FILES COPYRIGHT CHANGELOG.md DESTINATION "${examples}" COMPONENT development)
endif()

install(EXPORT spf-frameworksetup-targets NAMESPACE spf:: DESTINATION ${SPF_PACKAGE_DIR} COMPONENT development)
configure_package_config_file(cmake/spf-frameworksetup-config.cmake.in
  ${PROJECT_BINARY_DIR}/spf-frameworksetup-config.cmake INSTALL_DESTINATION ${SPF_PACKAGE_DIR}
  PATH_VARS SPF_INSTALL_BIN_DIR SPF_INSTALL_BUNDLE_ROOT SPF_INSTALL_LIB_DIR)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/spf-frameworksetup-config-version.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/spf-frameworksetup-config.cmake
              ${PROJECT_BINARY_DIR}/spf-frameworksetup-config-version.cmake
              cmake/SpfAddBundle.cmake cmake/SpfBundleInit.cpp.in
        DESTINATION ${SPF_PACKAGE_DIR} COMPONENT development)

# spf_pkg_config(<name> <description> [REQUIRES <package>...] [REQUIRES_PRIVATE <package>...] [LIBS <flag>...]
#   [LIBS_PRIVATE <flag>...] [CFLAGS <flag>...]): a file for pkg-config, named after the target spf::<name>. Its paths are
# relative to itself, so that it moves with the tree.
function(spf_pkg_config name description)
  cmake_parse_arguments(PARSE_ARGV 2 arg "" "" "REQUIRES;REQUIRES_PRIVATE;LIBS;LIBS_PRIVATE;CFLAGS")
  foreach(list IN ITEMS REQUIRES REQUIRES_PRIVATE LIBS LIBS_PRIVATE CFLAGS)
    list(JOIN arg_${list} " " ${list})
  endforeach()
  cmake_path(SET up "/")
  cmake_path(RELATIVE_PATH up BASE_DIRECTORY "/${SPF_PKGCONFIG_DIR}" OUTPUT_VARIABLE up)
  set(file "${PROJECT_BINARY_DIR}/pkgconfig/spf-${name}.pc")
  set(content "prefix=\${pcfiledir}/${up}
includedir=\${prefix}/${SPF_INCLUDE_DIR}
libdir=\${prefix}/${SPF_INSTALL_LIB_DIR}

Name: spf-${name}
Description: ${description}
Version: ${PROJECT_VERSION}
")
  foreach(field IN ITEMS "Requires:REQUIRES" "Requires.private:REQUIRES_PRIVATE" "Cflags:CFLAGS" "Libs:LIBS"
                         "Libs.private:LIBS_PRIVATE")
    string(REGEX MATCH "^(.*):(.*)$" matched "${field}")
    if(NOT "${${CMAKE_MATCH_2}}" STREQUAL "")
      string(APPEND content "${CMAKE_MATCH_1}: ${${CMAKE_MATCH_2}}\n")
    endif()
  endforeach()
  file(CONFIGURE OUTPUT "${file}" CONTENT "${content}" @ONLY)
  install(FILES "${file}" DESTINATION ${SPF_PKGCONFIG_DIR} COMPONENT development)
endfunction()

set(headers "-I\${includedir}")
set(folder "-L\${libdir}")
if(SPF_RUNTIME STREQUAL "bundled")
  spf_pkg_config(runtime "Embedded runtime with the interface of CppMicroServices 3"
    CFLAGS "-I\${prefix}/${SPF_RUNTIME_INCLUDE_DIR}" LIBS ${folder} -lspf_microservices)
  spf_pkg_config(cppmicroservices "The runtime that the SPF libraries were built with" REQUIRES spf-runtime)
else()
  # It has no file for pkg-config of its own, and does not move with this tree.
  get_target_property(runtime_headers CppMicroServices INTERFACE_INCLUDE_DIRECTORIES)
  list(TRANSFORM runtime_headers PREPEND "-I")
  get_target_property(runtime_library CppMicroServices LOCATION)
  cmake_path(GET runtime_library PARENT_PATH runtime_folder)
  spf_pkg_config(cppmicroservices "The runtime that the SPF libraries were built with"
    CFLAGS ${runtime_headers} LIBS "-L${runtime_folder}" "-Wl,-rpath,${runtime_folder}" -lCppMicroServices)
endif()
spf_pkg_config(host_filesystem "Host filesystem library" CFLAGS ${headers} LIBS ${folder} -lspf_host_filesystem)
spf_pkg_config(host_logging "Host logging library" CFLAGS ${headers} -DBOOST_LOG_DYN_LINK
  LIBS ${folder} -lspf_host_logging -lboost_log)
spf_pkg_config(host_services "Process-wide framework and installation of bundles"
  REQUIRES spf-host_filesystem spf-cppmicroservices CFLAGS ${headers} LIBS ${folder} -lspf_host_services)
spf_pkg_config(frameworklistener "Events of the SPF framework" REQUIRES spf-cppmicroservices CFLAGS ${headers})
spf_pkg_config(frameworkinterfaces "What bundles of the SPF framework offer one another"
  REQUIRES spf-cppmicroservices CFLAGS ${headers})
spf_pkg_config(frameworkwatch "Waits for all publishers of a configuration" REQUIRES spf-frameworklistener
  CFLAGS ${headers} -pthread LIBS ${folder} -lspf_frameworkwatch -lspf_frameworksupport -pthread)
spf_pkg_config(frameworksetup "${PROJECT_DESCRIPTION}" REQUIRES spf-cppmicroservices CFLAGS ${headers}
  LIBS ${folder} -lspf_frameworksetup)
