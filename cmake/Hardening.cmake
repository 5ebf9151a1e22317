# What makes a fault in memory harder to use, in every build that is optimised and not instrumented. tests/package reads it
# back from the files.
if(VORN_SANITIZE OR VORN_FUZZ)
  return()
endif()

include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)

set(optimised $<CONFIG:Release,RelWithDebInfo,MinSizeRel>)
add_compile_options(-fstack-protector-strong)
# Some compilers define the former already. Level 3 counts as 2 where compiler or C library know no more.
add_compile_options($<${optimised}:-U_FORTIFY_SOURCE> $<${optimised}:-D_FORTIFY_SOURCE=3>)
add_compile_definitions($<${optimised}:_GLIBCXX_ASSERTIONS>)
if(NOT APPLE)
  add_compile_options(-fstack-clash-protection)
  add_link_options(LINKER:-z,relro LINKER:-z,now LINKER:-z,noexecstack)
endif()
