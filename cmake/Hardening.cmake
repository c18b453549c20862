# What makes a memory fault harder to use: programs at addresses of chance, tables of addresses that
# cannot be written, guarded stacks, checked library calls and jump targets.
option(TESSALINE_HARDEN "Harden the programs built" OFF)
if(TESSALINE_HARDEN)
  include(CheckCXXCompilerFlag)
  include(CheckPIESupported)
  check_pie_supported(LANGUAGES CXX)
  # Where the compiler does not know the third level it takes it for the second.
  add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3 -fstack-protector-strong)
  check_cxx_compiler_flag(-fcf-protection TESSALINE_HAS_CF_PROTECTION)
  if(TESSALINE_HAS_CF_PROTECTION)
    add_compile_options(-fcf-protection)
  endif()
  check_cxx_compiler_flag(-fstack-clash-protection TESSALINE_HAS_STACK_CLASH_PROTECTION)
  if(TESSALINE_HAS_STACK_CLASH_PROTECTION)
    add_compile_options(-fstack-clash-protection)
  endif()
  add_link_options(LINKER:-z,relro LINKER:-z,now)
endif()
