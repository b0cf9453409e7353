# Warnings, sanitizers and include roots that every target of this project shares.

add_library(krel5_build_flags INTERFACE)
target_compile_options(krel5_build_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wnon-virtual-dtor -Woverloaded-virtual
  -Werror -fno-omit-frame-pointer
  -fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=) # __FILE__ is the path in the project, wherever that was built
target_link_options(krel5_build_flags INTERFACE -Wl,--as-needed)
if(KREL5_SANITIZE)
  # GCC 12 sees uninitialized reads in the standard library's own code once the sanitizers have rewritten it.
  target_compile_options(krel5_build_flags INTERFACE -Wno-maybe-uninitialized)
  target_compile_options(krel5_build_flags INTERFACE -fsanitize=${KREL5_SANITIZE} -fno-sanitize-recover=all)
  target_link_options(krel5_build_flags INTERFACE -fsanitize=${KREL5_SANITIZE})
endif()

# One layer of the house: compiled once, linked both into its shared library and into its unit tests.
function(krel5_add_layer name)
  add_library(${name} OBJECT ${ARGN})
  target_link_libraries(${name} PRIVATE krel5_build_flags)
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR}/platform)
endfunction()

# A shared library of this project. Calls inside it are bound when it is linked: half the work of the loader at start.
function(krel5_add_shared_library name)
  add_library(${name} SHARED)
  target_link_libraries(${name} PRIVATE krel5_build_flags ${ARGN})
  target_link_options(${name} PRIVATE -Wl,-Bsymbolic-functions -Wl,-O1 -Wl,--exclude-libs,ALL)
  set_target_properties(${name} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
endfunction()
