# Replaces shared libraries by their static forms in programs. To load and bind the shared ones takes
# a fifth of the time that a program needs for a small file. A shared library, as the Python module is
# one, keeps them: libgomp's static form cannot be part of it. A library of which the system has no
# static form stays shared, as spglib does on Debian 13.
function(link_statically target)
  set(archives "")
  foreach(name IN LISTS ARGN)
    find_library(${name}_archive lib${name}.a HINTS ${CMAKE_CXX_IMPLICIT_LINK_DIRECTORIES})
    if(NOT ${name}_archive)
      message(STATUS "lib${name}.a is not there: ${target} is linked as a shared library")
      return()
    endif()
    list(APPEND archives ${${name}_archive})
  endforeach()
  get_target_property(shared ${target} INTERFACE_LINK_LIBRARIES)
  set(is_program "$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>")
  set_target_properties(${target} PROPERTIES
    INTERFACE_LINK_LIBRARIES "$<IF:${is_program},${archives},${shared}>")
endfunction()

# On Debian 13 what we call of libcrypto.a wants libzstd.
include(CheckCXXSourceCompiles)
find_library(crypto_archive libcrypto.a HINTS ${CMAKE_CXX_IMPLICIT_LINK_DIRECTORIES})
if(crypto_archive)
  set(CMAKE_REQUIRED_LIBRARIES ${crypto_archive})
  check_cxx_source_compiles("#define OPENSSL_SUPPRESS_DEPRECATED
    #include <openssl/evp.h>
    #include <openssl/sha.h>
    int main() {
      SHA256_CTX context;
      unsigned char text[8];
      return SHA256_Init(&context) + EVP_EncodeBlock(text, text, 3);
    }" crypto_archive_is_complete)
  unset(CMAKE_REQUIRED_LIBRARIES)
endif()
if(crypto_archive_is_complete)
  link_statically(PkgConfig::crypto crypto)
endif()

link_statically(PkgConfig::png png z)
link_statically(PkgConfig::utf8proc utf8proc)
link_statically(PkgConfig::spglib symspg gomp)
