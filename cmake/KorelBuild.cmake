# Compiler settings shared by every target of the project.

# Rebuilds of unchanged sources come from ccache when it is installed.
find_program(KOREL_CCACHE ccache)
if(KOREL_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_C_COMPILER_LAUNCHER ${KOREL_CCACHE})
  set(CMAKE_CXX_COMPILER_LAUNCHER ${KOREL_CCACHE})
endif()

set(KOREL_WARNINGS -Wall -Wextra -Wno-unused-parameter)

# RUNPATH rather than RPATH, so LD_LIBRARY_PATH can point a program at another root.
add_link_options(-Wl,--enable-new-dtags)

# What the runtime root holds, staged or installed, finds its libraries beside itself and
# nowhere else: its RUNPATH is $ORIGIN alone. It is linked with that RUNPATH from the
# start; a build RUNPATH to be rewritten at install gets padded with separators, and the
# empty element they leave is the working directory.
function(korel_root_runpath target)
  set_target_properties(${target} PROPERTIES INSTALL_RPATH "$ORIGIN" BUILD_WITH_INSTALL_RPATH ON)
endfunction()

# KOREL_SANITIZE=address,undefined builds everything instrumented; any report aborts.
set(KOREL_SANITIZE "" CACHE STRING "Sanitizers to build with (e.g. address,undefined)")
if(KOREL_SANITIZE)
  add_compile_options(-fsanitize=${KOREL_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${KOREL_SANITIZE})
endif()

# korel_library(NAME SHARED|STATIC|OBJECT SOURCES ... [DEPS ...]):
# one module, one target; its directory's parent is its include root.
function(korel_library name kind)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPS;PRIVATE_DEPS" ${ARGN})
  add_library(${name} ${kind} ${ARG_SOURCES})
  target_compile_options(${name} PRIVATE ${KOREL_WARNINGS})
  # Source-tree include roots exist only in the build; an installed library's users see
  # the installed include directory (set where a library is exported).
  target_include_directories(${name} PUBLIC
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/engine>
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>)
  if(ARG_DEPS)
    target_link_libraries(${name} PUBLIC ${ARG_DEPS})
  endif()
  if(ARG_PRIVATE_DEPS)
    target_link_libraries(${name} PRIVATE ${ARG_PRIVATE_DEPS})
  endif()
  if(kind STREQUAL "SHARED")
    korel_root_runpath(${name})
    if(NOT KOREL_SANITIZE)
      target_link_options(${name} PRIVATE -Wl,--no-undefined)
    endif()
  endif()
endfunction()
