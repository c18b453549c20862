# What makes a memory fault harder to use: programs at addresses of chance, tables of addresses that
# cannot be written, guarded stacks, checked library calls and jump targets.
option(TESSALINE_HARDEN "Harden the programs built" OFF)
if(TESSALINE_HARDEN)
  include(CheckCXXCompilerFlag)
  include(CheckPIESupported)
  check_pie_supported(LANGUAGES CXX)
  # Where the compiler does not know the third level it takes it for the second.
  add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3 -fstack-protector-strong)
  # Every processor checks the targets of jumps in a way of its own. A compiler for another one may only
  # warn of the flag, so that asking it says little.
  set(jumps)
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|i.86)$")
    set(jumps -fcf-protection)
  elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^(aarch64|arm64)$")
    set(jumps -mbranch-protection=standard)
  endif()
  foreach(flag ${jumps} -fstack-clash-protection)
    string(MAKE_C_IDENTIFIER TESSALINE_HAS${flag} known)
    check_cxx_compiler_flag(${flag} ${known})
    if(${known})
      add_compile_options(${flag})
    endif()
  endforeach()
  add_link_options(LINKER:-z,relro LINKER:-z,now)
endif()
