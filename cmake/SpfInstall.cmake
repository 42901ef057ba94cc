# Install rules and the CMake package spf-frameworksetup. The installed tree can be moved as a whole.
include(CMakePackageConfigHelpers)

set(SPF_EXPORTED_TARGETS
    spf_cppmicroservices spf_host_filesystem spf_host_logging spf_host_services
    spf_frameworklistener spf_frameworkinterfaces spf_frameworksupport spf_frameworkwatch
    spf_frameworksetup)
if(SPF_RUNTIME STREQUAL "bundled")
  list(APPEND SPF_EXPORTED_TARGETS spf_runtime)
  install(DIRECTORY runtime/framework/include/ runtime/configurationadmin/include/
          DESTINATION ${SPF_RUNTIME_INCLUDE_DIR})
  # As it is: stripping or relinking would cut the bundle's archive off.
  install(FILES $<TARGET_FILE:ConfigurationAdmin> DESTINATION ${SPF_LIB_DIR})
endif()

install(TARGETS ${SPF_EXPORTED_TARGETS} EXPORT spf-frameworksetup-targets
        LIBRARY DESTINATION ${SPF_LIB_DIR}
        ARCHIVE DESTINATION ${SPF_LIB_DIR}
        RUNTIME DESTINATION ${SPF_BIN_DIR})
install(DIRECTORY include/ host/filesystem/include/ host/logging/include/ host/services/include/
                  framework/listener/include/ framework/interfaces/include/ framework/support/include/
                  framework/watch/include/
        DESTINATION ${SPF_INCLUDE_DIR} FILES_MATCHING PATTERN "*.hpp")
if(TARGET spfctl)
  install(TARGETS spfctl RUNTIME DESTINATION ${SPF_BIN_DIR})
  install(DIRECTORY ${PROJECT_BINARY_DIR}/${SPF_SHARE_DIR}/ DESTINATION ${SPF_SHARE_DIR})
  # The prefix is known for certain when it is installed.
  set(unit "${PROJECT_BINARY_DIR}/install/spfctl@.service")
  install(CODE "
    get_filename_component(SPFCTL \"\${CMAKE_INSTALL_PREFIX}/${SPF_BIN_DIR}/spfctl\" ABSOLUTE)
    string(REPLACE \"%\" \"%%\" SPFCTL \"\${SPFCTL}\")
    configure_file(\"${PROJECT_SOURCE_DIR}/tools/spfctl/share/spfctl@.service.in\" \"${unit}\" @ONLY)")
  install(FILES "${unit}" DESTINATION "${SPF_SYSTEMD_UNIT_DIR}")
endif()

install(EXPORT spf-frameworksetup-targets NAMESPACE spf:: DESTINATION ${SPF_PACKAGE_DIR})
configure_package_config_file(cmake/spf-frameworksetup-config.cmake.in
  ${PROJECT_BINARY_DIR}/spf-frameworksetup-config.cmake INSTALL_DESTINATION ${SPF_PACKAGE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/spf-frameworksetup-config-version.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/spf-frameworksetup-config.cmake
              ${PROJECT_BINARY_DIR}/spf-frameworksetup-config-version.cmake
              cmake/SpfAddBundle.cmake cmake/SpfBundleInit.cpp.in
        DESTINATION ${SPF_PACKAGE_DIR})
