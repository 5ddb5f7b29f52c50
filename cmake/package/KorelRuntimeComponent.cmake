# korel_add_component(<name> [LIBRARY] SOURCES <file>... [OUTPUT_DIRECTORY <dir>])
#
# Builds a Korel component from Korel sources (.k) and native function sources (.c,
# .cpp) with the runtime's kcc, into OUTPUT_DIRECTORY (default: <name> in the current
# binary directory). Without LIBRARY it makes the program <name> beside <name>.kar,
# and the target <name> builds them. With LIBRARY it makes <name>.so, its header
# <name>.h and <name>.kar, and <name> is a library target to link hosts against: it
# brings the header's directory and KorelRuntime::kclkrt with it.
# kcc compiles with cc, or with the compilers named by KCC_CC and KCC_CXX in the
# environment of the build.
function(korel_add_component name)
  cmake_parse_arguments(ARG "LIBRARY" "OUTPUT_DIRECTORY" "SOURCES" ${ARGN})
  if(NOT ARG_SOURCES)
    message(FATAL_ERROR "korel_add_component(${name}): no SOURCES given")
  endif()
  if(ARG_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "korel_add_component(${name}): unknown arguments ${ARG_UNPARSED_ARGUMENTS}")
  endif()
  set(directory ${CMAKE_CURRENT_BINARY_DIR}/${name})
  if(ARG_OUTPUT_DIRECTORY)
    get_filename_component(directory ${ARG_OUTPUT_DIRECTORY} ABSOLUTE BASE_DIR ${CMAKE_CURRENT_BINARY_DIR})
  endif()
  set(sources)
  foreach(source ${ARG_SOURCES})
    get_filename_component(source ${source} ABSOLUTE BASE_DIR ${CMAKE_CURRENT_SOURCE_DIR})
    list(APPEND sources ${source})
  endforeach()

  if(ARG_LIBRARY)
    set(outputs ${directory}/${name}.so ${directory}/${name}.h ${directory}/${name}.kar)
    set(target_option --target lib)
  else()
    set(outputs ${directory}/${name} ${directory}/${name}.kar)
    set(target_option)
  endif()
  add_custom_command(OUTPUT ${outputs}
    COMMAND KorelRuntime::kcc --name ${name} ${target_option} --output ${directory} ${sources}
    DEPENDS ${sources}
    COMMENT "Building the Korel component ${name}"
    VERBATIM)

  if(ARG_LIBRARY)
    add_custom_target(${name}_component ALL DEPENDS ${outputs})
    # An imported target's include directory must exist when the build is generated.
    file(MAKE_DIRECTORY ${directory})
    add_library(${name} SHARED IMPORTED GLOBAL)
    set_target_properties(${name} PROPERTIES
      IMPORTED_LOCATION ${directory}/${name}.so
      IMPORTED_SONAME ${name}.so
      INTERFACE_INCLUDE_DIRECTORIES ${directory}
      INTERFACE_LINK_LIBRARIES KorelRuntime::kclkrt)
    add_dependencies(${name} ${name}_component)
  else()
    add_custom_target(${name} ALL DEPENDS ${outputs})
  endif()
endfunction()
