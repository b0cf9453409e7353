# Warnings, sanitizers, include roots and library paths that the targets of this project share. Warnings are errors in the
# presets only (CMakePresets.json): a newer compiler's new warning must not stop who packages the library.

add_library(krel5_build_flags INTERFACE)
target_compile_options(krel5_build_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wnon-virtual-dtor -Woverloaded-virtual
  -fno-omit-frame-pointer
  -fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=) # __FILE__ is the path in the project, wherever that was built
target_link_options(krel5_build_flags INTERFACE -Wl,--as-needed)
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # At -O3, GCC 12 sees overlapping copies inside std::string where a short literal is assigned; there are none.
  target_compile_options(krel5_build_flags INTERFACE $<$<CONFIG:Release>:-Wno-restrict>)
endif()
if(KREL5_SANITIZE)
  # GCC 12 sees uninitialized reads in the standard library's own code once the sanitizers have rewritten it.
  target_compile_options(krel5_build_flags INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
  target_compile_options(krel5_build_flags INTERFACE -fsanitize=${KREL5_SANITIZE} -fno-sanitize-recover=all)
  target_link_options(krel5_build_flags INTERFACE -fsanitize=${KREL5_SANITIZE})
endif()

# One layer of the house: compiled once, linked both into its shared library and into its unit tests. A module is started
# for every question that is put to it, and a start costs the pages that it touches: the larger code of -O3, CMake's choice for
# Release, costs a sixteenth of each start and gains little elsewhere.
set(KREL5_QUICK_TO_START "$<$<CONFIG:Release>:-O2;-ffunction-sections>")
function(krel5_add_layer name)
  add_library(${name} OBJECT ${ARGN})
  target_link_libraries(${name} PRIVATE krel5_build_flags)
  target_compile_options(${name} PRIVATE "${KREL5_QUICK_TO_START}")
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR}/platform)
endfunction()

# A shared library of this project. What refers to itself is bound when it is linked, and only what is ours is exported: half
# the work of the loader at start. A sanitizer tells types by the address of their one name, so there all of them are shared.
function(krel5_add_shared_library name)
  add_library(${name} SHARED)
  target_link_libraries(${name} PRIVATE krel5_build_flags ${ARGN})
  target_link_options(${name} PRIVATE -Wl,-O1 -Wl,--exclude-libs,ALL "$<$<CONFIG:Release>:-Wl,--gc-sections>")
  if(KREL5_SANITIZE)
    target_link_options(${name} PRIVATE -Wl,-Bsymbolic-functions)
  else()
    target_link_options(${name} PRIVATE -Wl,-Bsymbolic -Wl,--version-script=${PROJECT_SOURCE_DIR}/cmake/exports.map)
    set_target_properties(${name} PROPERTIES LINK_DEPENDS ${PROJECT_SOURCE_DIR}/cmake/exports.map)
  endif()
  set_target_properties(${name} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
endfunction()

# Programs find their libraries relative to themselves, so that a folder that was built or installed can be moved. What
# is installed carries its final path from the start: CMake would else fill the path up with colons in the build tree, and
# an empty element is the working directory, from which a program must not load code. tests/house/library_paths.sh looks.
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)

# Sets the library path of a program that lies in build_folder and is installed to install_folder (both absolute).
function(krel5_set_library_path target build_folder install_folder)
  cmake_path(RELATIVE_PATH CMAKE_INSTALL_FULL_LIBDIR BASE_DIRECTORY ${install_folder} OUTPUT_VARIABLE installed)
  cmake_path(RELATIVE_PATH CMAKE_LIBRARY_OUTPUT_DIRECTORY BASE_DIRECTORY ${build_folder} OUTPUT_VARIABLE built)
  set(path "$ORIGIN/${installed}" "$ORIGIN/${built}") # one and the same unless libraries go to lib64 or the like
  list(REMOVE_DUPLICATES path)
  set_target_properties(${target} PROPERTIES BUILD_WITH_INSTALL_RPATH ON INSTALL_RPATH "${path}")
endfunction()
