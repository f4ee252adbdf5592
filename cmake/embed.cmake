# Compiles the texts of files into a target, which then has
#   std::string_view NAMESPACE::embedded_text(std::string_view file_name)
# It is declared where it is used, and empty for the name of another file.
function(embed_files target namespace)
  set(texts "")
  set(choices "")
  set(number 0)
  foreach(file IN LISTS ARGN)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${file})
    file(READ ${file} text)
    cmake_path(GET file FILENAME name)
    # An array, so that nothing has to be measured when the program starts.
    string(APPEND texts "constexpr char text_${number}[] = R\"embedded(${text})embedded\";\n")
    string(APPEND choices
      "  if (name == \"${name}\") return {text_${number}, sizeof text_${number} - 1};\n")
    math(EXPR number "${number} + 1")
  endforeach()
  set(source ${PROJECT_BINARY_DIR}/${target}_files.cpp)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/embedded_files.cpp.in ${source} @ONLY)
  target_sources(${target} PRIVATE ${source})
  set_source_files_properties(${source} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON
    COMPILE_OPTIONS $<$<CXX_COMPILER_ID:Clang>:-Wno-overlength-strings>)
endfunction()
