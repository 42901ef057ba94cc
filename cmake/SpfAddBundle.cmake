# spf_add_bundle(<target>
#   SYMBOLIC_NAME <name>           the bundle's symbolic name
#   MANIFEST <manifest.json>       its manifest; has to exist when CMake runs
#   DIRECTORY <directory>          sub-directory of the bundle root that the bundle belongs to
#   [OUTPUT_DIRECTORY <path>]      instead of DIRECTORY: any folder, for bundles that are not installed
#   [INSTALL_DESTINATION <folder>] installs the bundle there, below the prefix; a host finds it in
#                                  ${SPF_BUNDLE_ROOT}/<directory>
#   [COMPONENT <name>]             the component that it is installed with
#   [SOURCES <file>...]            the code; without it the bundle is a zip archive that holds data only
#   [LINK_LIBRARIES <target>...])  what the code links, besides CppMicroServices
#
# Makes a CppMicroServices bundle: a shared library with a zip archive appended that holds
# <name>/manifest.json. The target's property SPF_BUNDLE_FILE names the file. The archive is appended
# after linking, so a bundle must never be stripped afterwards; the install rule copies the file as it is.
include_guard()

set(SPF_BUNDLE_INIT_TEMPLATE "${CMAKE_CURRENT_LIST_DIR}/SpfBundleInit.cpp.in")
if(NOT SPF_BUNDLE_ROOT)
  set(SPF_BUNDLE_ROOT bin/win64/spf)
endif()

function(spf_add_bundle target)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "SYMBOLIC_NAME;MANIFEST;DIRECTORY;OUTPUT_DIRECTORY;INSTALL_DESTINATION;COMPONENT" "SOURCES;LINK_LIBRARIES")
  if(arg_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "spf_add_bundle(${target}): unknown arguments '${arg_UNPARSED_ARGUMENTS}'")
  endif()
  # The entry points of a bundle's code end in its name.
  if(arg_SOURCES AND NOT arg_SYMBOLIC_NAME MATCHES "^[A-Za-z_][A-Za-z0-9_]*$")
    message(FATAL_ERROR "spf_add_bundle(${target}): SYMBOLIC_NAME is '${arg_SYMBOLIC_NAME}'; expected a C identifier")
  elseif(NOT arg_SYMBOLIC_NAME MATCHES "^[A-Za-z0-9_][A-Za-z0-9_.-]*$")
    message(FATAL_ERROR "spf_add_bundle(${target}): SYMBOLIC_NAME is '${arg_SYMBOLIC_NAME}'; expected letters, digits, '_', '.', '-'")
  endif()
  get_filename_component(manifest "${arg_MANIFEST}" ABSOLUTE)
  if(NOT arg_MANIFEST OR NOT EXISTS "${manifest}" OR IS_DIRECTORY "${manifest}")
    message(FATAL_ERROR "spf_add_bundle(${target}): the manifest '${arg_MANIFEST}' does not exist")
  endif()
  if(arg_DIRECTORY)
    set(root "${SPF_TREE_ROOT}")
    if(NOT root)
      set(root "${CMAKE_BINARY_DIR}")
    endif()
    set(output "${root}/${SPF_BUNDLE_ROOT}/${arg_DIRECTORY}")
  elseif(arg_OUTPUT_DIRECTORY)
    get_filename_component(output "${arg_OUTPUT_DIRECTORY}" ABSOLUTE BASE_DIR "${CMAKE_CURRENT_BINARY_DIR}")
  else()
    message(FATAL_ERROR "spf_add_bundle(${target}): neither DIRECTORY nor OUTPUT_DIRECTORY is given")
  endif()

  set(stage "${CMAKE_CURRENT_BINARY_DIR}/${target}_bundle")
  configure_file("${manifest}" "${stage}/${arg_SYMBOLIC_NAME}/manifest.json" COPYONLY)

  if(arg_SOURCES)
    set(archive "${stage}/${target}.zip")
  else()
    set(archive "${output}/${target}.zip")
    file(MAKE_DIRECTORY "${output}")
  endif()
  add_custom_command(
    OUTPUT "${archive}"
    # A fixed time makes equal manifests equal archives.
    COMMAND "${CMAKE_COMMAND}" -E tar cf "${archive}" --format=zip "--mtime=2000-01-01 00:00:00 UTC" --
            "${arg_SYMBOLIC_NAME}/manifest.json"
    WORKING_DIRECTORY "${stage}"
    DEPENDS "${stage}/${arg_SYMBOLIC_NAME}/manifest.json"
    COMMENT "Packing bundle ${target}"
    VERBATIM)

  if(arg_SOURCES)
    configure_file("${SPF_BUNDLE_INIT_TEMPLATE}" "${stage}/bundle_init.cpp" COPYONLY)
    add_custom_target(${target}_archive DEPENDS "${archive}")
    add_library(${target} MODULE ${arg_SOURCES} "${stage}/bundle_init.cpp")
    add_dependencies(${target} ${target}_archive)
    target_compile_features(${target} PRIVATE cxx_std_17)
    target_compile_definitions(${target} PRIVATE US_BUNDLE_NAME=${arg_SYMBOLIC_NAME})
    target_link_libraries(${target} PRIVATE spf::cppmicroservices ${arg_LINK_LIBRARIES})
    if(SPF_STRIP)
      target_link_options(${target} PRIVATE LINKER:--strip-all)
    endif()
    # Not in the installed package: the flags of other people's bundles are their own.
    if(COMMAND spf_harden)
      spf_harden(${target})
      spf_precompile(${target} runtime)
    endif()
    # Nor are the warnings of a project that adds this one and makes bundles too.
    if(PROJECT_NAME STREQUAL "spf-frameworksetup")
      spf_warn(${target})
    endif()
    set_target_properties(${target} PROPERTIES
      CXX_EXTENSIONS OFF
      CXX_VISIBILITY_PRESET hidden
      VISIBILITY_INLINES_HIDDEN ON
      PREFIX lib
      LIBRARY_OUTPUT_DIRECTORY "${output}"
      BUILD_WITH_INSTALL_RPATH ON
      INSTALL_RPATH "$ORIGIN/../../../../lib"
      INSTALL_RPATH_USE_LINK_PATH ON
      LINK_DEPENDS "${archive}")
    add_custom_command(TARGET ${target} POST_BUILD
      COMMAND sh -c "cat \"$1\" >> \"$2\"" append "${archive}" "$<TARGET_FILE:${target}>"
      COMMENT "Appending the archive of bundle ${target}"
      VERBATIM)
    set(file "$<TARGET_FILE:${target}>")
  else()
    add_custom_target(${target} ALL DEPENDS "${archive}")
    set(file "${archive}")
  endif()
  set_target_properties(${target} PROPERTIES SPF_BUNDLE_FILE "${file}" SPF_BUNDLE_DIRECTORY "${arg_DIRECTORY}")

  if(arg_DIRECTORY)
    set_property(GLOBAL APPEND PROPERTY SPF_BUNDLES ${target})
  endif()
  # Bundles of the project itself belong to its tree.
  if(NOT arg_INSTALL_DESTINATION AND arg_DIRECTORY AND SPF_INSTALL)
    set(arg_INSTALL_DESTINATION "${SPF_INSTALL_BUNDLE_ROOT}/${arg_DIRECTORY}")
    set(arg_COMPONENT bundles)
  endif()
  if(arg_INSTALL_DESTINATION)
    set(component)
    if(arg_COMPONENT)
      set(component COMPONENT "${arg_COMPONENT}")
    endif()
    install(FILES "${file}" DESTINATION "${arg_INSTALL_DESTINATION}" ${component}
            PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
  endif()
endfunction()
