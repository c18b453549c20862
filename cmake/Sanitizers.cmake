set(TESSALINE_SANITIZE "" CACHE STRING "Sanitizers to build with, as for -fsanitize=")
if(TESSALINE_SANITIZE)
  add_compile_options(-fsanitize=${TESSALINE_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  # The checks between its instructions make gcc 12 lose sight of what <regex> has initialised.
  add_compile_options($<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
  add_link_options(-fsanitize=${TESSALINE_SANITIZE})
endif()
