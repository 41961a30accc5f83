# Warnings of our own code, and the sanitizers of the build.
add_library(sentrel_options INTERFACE)
target_compile_options(sentrel_options INTERFACE -Wall -Wextra -Werror)
if(SENTREL_SANITIZE)
  add_compile_options(-fsanitize=${SENTREL_SANITIZE} -fno-omit-frame-pointer
                      -fno-sanitize-recover=undefined)
  add_link_options(-fsanitize=${SENTREL_SANITIZE})
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # With what the sanitizers put in, g++ 12 warns of copies that nobody makes. Other builds have these.
    target_compile_options(sentrel_options INTERFACE -Wno-array-bounds -Wno-restrict
                                                     -Wno-stringop-overflow)
  endif()
  if(SENTREL_SANITIZE STREQUAL "thread")
    # GLib's locks are those of every program.
    set(is_program $<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>)
    set(synchronization ${PROJECT_SOURCE_DIR}/tests/sanitizers/glib_synchronization.cpp)
    target_sources(sentrel_options INTERFACE $<${is_program}:${synchronization}>)
    target_link_libraries(sentrel_options INTERFACE $<${is_program}:PkgConfig::GLIB>)
  endif()
endif()
if(SENTREL_FUZZ)
  # Everything reports which of its branches an input reaches.
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
