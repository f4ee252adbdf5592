# Replaces shared libraries by their static forms in programs. To load and bind the shared ones takes
# a fifth of the time that a program needs for a small file. A shared library, as the Python module is
# one, keeps them: libgomp's static form cannot be part of it.
function(link_statically target)
  set(archives "")
  foreach(name IN LISTS ARGN)
    find_library(${name}_archive lib${name}.a REQUIRED HINTS ${CMAKE_CXX_IMPLICIT_LINK_DIRECTORIES})
    list(APPEND archives ${${name}_archive})
  endforeach()
  get_target_property(shared ${target} INTERFACE_LINK_LIBRARIES)
  set(is_program "$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>")
  set_target_properties(${target} PROPERTIES
    INTERFACE_LINK_LIBRARIES "$<IF:${is_program},${archives},${shared}>")
endfunction()

link_statically(PkgConfig::png png z)
link_statically(PkgConfig::utf8proc utf8proc)
link_statically(PkgConfig::spglib symspg gomp)
