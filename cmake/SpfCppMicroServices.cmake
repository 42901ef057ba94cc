# Defines spf::cppmicroservices, whichever runtime the build has, and the target ConfigurationAdmin.
include_guard()

set(SPF_RUNTIME bundled)
if(NOT SPF_CPPMICROSERVICES STREQUAL "bundled")
  # The order of the components matters: ConfigurationAdmin needs the two before it.
  find_package(CppMicroServices 3 CONFIG QUIET COMPONENTS Framework usAsyncWorkService ConfigurationAdmin)
  if(CppMicroServices_FOUND)
    set(SPF_RUNTIME system)
  elseif(SPF_CPPMICROSERVICES STREQUAL "system")
    message(FATAL_ERROR "SPF_CPPMICROSERVICES is 'system' but no CppMicroServices 3 was found: "
                        "set CppMicroServices_DIR or CMAKE_PREFIX_PATH, or use 'bundled'")
  endif()
endif()

add_library(spf_cppmicroservices INTERFACE)
add_library(spf::cppmicroservices ALIAS spf_cppmicroservices)
set_target_properties(spf_cppmicroservices PROPERTIES EXPORT_NAME cppmicroservices)

if(SPF_RUNTIME STREQUAL "system")
  message(STATUS "Runtime: CppMicroServices ${CppMicroServices_VERSION} (${CppMicroServices_DIR})")
  target_link_libraries(spf_cppmicroservices INTERFACE CppMicroServices)
else()
  message(STATUS "Runtime: bundled")
  add_subdirectory(${PROJECT_SOURCE_DIR}/runtime ${PROJECT_BINARY_DIR}/runtime)
  target_link_libraries(spf_cppmicroservices INTERFACE spf_runtime)
endif()
