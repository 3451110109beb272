# kavrel_compile_folders_as_one(DIRECTORY): the sources that a target has in one folder are compiled
# together, for all targets of DIRECTORY and below it. What they include is then read once, and the
# libraries' templates are compiled once, which is most of the work of a build without optimisation.
function(kavrel_compile_folders_as_one directory)
  get_property(targets DIRECTORY "${directory}" PROPERTY BUILDSYSTEM_TARGETS)
  foreach(target IN LISTS targets)
    get_target_property(sources ${target} SOURCES)
    get_target_property(from ${target} SOURCE_DIR)
    foreach(source IN LISTS sources)
      get_filename_component(source "${source}" ABSOLUTE BASE_DIR "${from}")
      get_filename_component(folder "${source}" DIRECTORY)
      file(RELATIVE_PATH folder "${PROJECT_SOURCE_DIR}" "${folder}")
      string(MAKE_C_IDENTIFIER "${folder}" folder)
      set_source_files_properties("${source}" TARGET_DIRECTORY ${target}
        PROPERTIES UNITY_GROUP "${folder}")
    endforeach()
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_MODE GROUP
      UNITY_BUILD_CODE_BEFORE_INCLUDE "// NOLINTNEXTLINE(bugprone-suspicious-include)")
  endforeach()
  get_property(below DIRECTORY "${directory}" PROPERTY SUBDIRECTORIES)
  foreach(subdirectory IN LISTS below)
    kavrel_compile_folders_as_one("${subdirectory}")
  endforeach()
endfunction()
