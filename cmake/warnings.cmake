# Warnings of our own code, and the sanitizers of the build.
add_library(sentrel_options INTERFACE)
target_compile_options(sentrel_options INTERFACE -Wall -Wextra -Werror)
if(SENTREL_SANITIZE)
  add_compile_options(-fsanitize=${SENTREL_SANITIZE} -fno-omit-frame-pointer
                      -fno-sanitize-recover=undefined -g)
  add_link_options(-fsanitize=${SENTREL_SANITIZE})
endif()
if(SENTREL_FUZZ)
  # Everything reports which of its branches an input reaches.
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
