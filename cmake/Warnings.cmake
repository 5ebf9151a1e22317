# For every target of this project and for no header of another one. The presets make them errors
# (CMAKE_COMPILE_WARNING_AS_ERROR); whoever configures without a preset is told and not stopped.
add_compile_options(-Wall -Wextra -Wpedantic -Wconversion -Wshadow)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # GCC 12 sees overlapping copies in `"text" + std::string` where there are none (its bug 105651).
  add_compile_options(-Wno-restrict)
endif()
# Paths in messages, checks and debug data are relative to the source tree: a binary tells nothing of the machine it was built on.
add_compile_options(-ffile-prefix-map=${CMAKE_SOURCE_DIR}/=)

if(VORN_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
if(VORN_SANITIZE OR VORN_FUZZ)
  add_compile_options(-fsanitize=address,undefined,float-cast-overflow -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined,float-cast-overflow)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # GCC 12 sees uninitialised members inside std::regex once it is instrumented.
    add_compile_options(-Wno-maybe-uninitialized)
  endif()
endif()
