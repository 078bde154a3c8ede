# What optimised builds for Linux are hardened with: the command reads the bytes of strangers, often
# as root. Builds with sanitizers check more, and do not go together with all of it; builds for
# debugging stay as they are.
#
# Sets MVSMS_HARDENED, as far as the compiler and the linker know how.
if(WIN32 AND CMAKE_BUILD_TYPE MATCHES "Rel")
  # Position-independent and not executable as data they are by the linker's defaults.
  add_compile_options(-fstack-protector-strong)
  add_link_options(-fstack-protector-strong)  # which brings along the functions for it
endif()
if(WIN32 OR MVSMS_SANITIZE OR MVSMS_TSAN OR MVSMS_FUZZ OR NOT CMAKE_BUILD_TYPE MATCHES "Rel")
  return()
endif()
include(CheckCXXCompilerFlag)
include(CheckLinkerFlag)

# Code at addresses that nobody can foretell: CMake knows which of programs and libraries needs what.
include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

# Overwritten return addresses, stacks that run into the heap, jumps to where no function begins.
foreach(flag -fstack-protector-strong -fstack-clash-protection -fcf-protection)
  string(MAKE_C_IDENTIFIER "MVSMS_KNOWS${flag}" known)
  check_cxx_compiler_flag(${flag} ${known})
  if(${known})
    add_compile_options(${flag})
  endif()
endforeach()
# Checked buffers of the C library, checked indices of the C++ library.
add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2 -D_GLIBCXX_ASSERTIONS)

# The tables of the linker are filled at the start and written never again.
check_linker_flag(CXX -Wl,-z,relro,-z,now MVSMS_LINKS_READ_ONLY)
if(MVSMS_LINKS_READ_ONLY)
  add_link_options(-Wl,-z,relro,-z,now)
endif()
set(MVSMS_HARDENED ON)
