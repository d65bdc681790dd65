# ortavel_add_pipl(TARGET [DESCRIPTION FILE] [KIND FOURCC] [ENTRY NAME])
# Generates the PiPL and terminology resources of a Windows filter module from
# its JSON description (by default src/frame/pipl/ortavel_pipl.json) and
# compiles them into TARGET. KIND and ENTRY override the description, for the
# deliberately broken modules of the loader tests.
find_package(Python3 REQUIRED COMPONENTS Interpreter)

function(ortavel_add_pipl target)
  cmake_parse_arguments(P "" "DESCRIPTION;KIND;ENTRY" "" ${ARGN})
  if(NOT P_DESCRIPTION)
    set(P_DESCRIPTION ${PROJECT_SOURCE_DIR}/src/frame/pipl/ortavel_pipl.json)
  endif()
  set(_generator ${PROJECT_SOURCE_DIR}/tools/pipl/gen_pipl.py)
  set(_dir ${CMAKE_CURRENT_BINARY_DIR}/pipl)
  set(_rc ${_dir}/${target}.rc)
  set(_overrides)
  if(P_KIND)
    list(APPEND _overrides --kind ${P_KIND})
  endif()
  if(P_ENTRY)
    list(APPEND _overrides --entry ${P_ENTRY})
  endif()
  add_custom_command(OUTPUT ${_rc} ${_dir}/${target}.pipl ${_dir}/${target}.aete
    COMMAND ${CMAKE_COMMAND} -E make_directory ${_dir}
    COMMAND ${Python3_EXECUTABLE} ${_generator} ${P_DESCRIPTION} ${_rc} ${_overrides}
    DEPENDS ${_generator} ${P_DESCRIPTION}
    COMMENT "Generating the PiPL and terminology of ${target}"
    VERBATIM)
  target_sources(${target} PRIVATE ${_rc})
  # windres reads the binary files the script names: rebuild when they change.
  set_source_files_properties(${_rc} PROPERTIES
    OBJECT_DEPENDS "${_dir}/${target}.pipl;${_dir}/${target}.aete")
endfunction()

# ortavel_add_pipl_beside(TARGET [DESCRIPTION FILE])
# Linux: shared objects carry no resources, so the same PiPL and terminology
# are written beside the built module, as MODULE.pipl and MODULE.aete, where
# the host emulator's loader reads them.
function(ortavel_add_pipl_beside target)
  cmake_parse_arguments(P "" "DESCRIPTION" "" ${ARGN})
  if(NOT P_DESCRIPTION)
    set(P_DESCRIPTION ${PROJECT_SOURCE_DIR}/src/frame/pipl/ortavel_pipl.json)
  endif()
  add_custom_command(TARGET ${target} POST_BUILD
    COMMAND ${Python3_EXECUTABLE} ${PROJECT_SOURCE_DIR}/tools/pipl/gen_pipl.py ${P_DESCRIPTION}
      --beside $<TARGET_FILE:${target}>
    COMMENT "Writing the PiPL and terminology beside ${target}"
    VERBATIM)
  # Relink (and so rewrite them) when the description or the generator changes.
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS
    ${P_DESCRIPTION} ${PROJECT_SOURCE_DIR}/tools/pipl/gen_pipl.py)
endfunction()
