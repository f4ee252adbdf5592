#include "python/module/text.hpp"

#include <cstddef>

#include "python/module/errors.hpp"
#include "structure_ingest/base/utf8.hpp"

namespace structure_ingest::python {
namespace {

bool is_surrogate(char32_t character) {
  return character >= 0xD800 && character <= 0xDFFF;
}

/// The bytes of text that has lone surrogates.
std::string bytes_with_surrogates(const py::handle& text) {
  std::string bytes;
  const Py_ssize_t size = PyUnicode_GetLength(text.ptr());
  for (Py_ssize_t i = 0; i < size; ++i) {
    const char32_t character = PyUnicode_ReadChar(text.ptr(), i);
    if (character >= 0xDC80 && character <= 0xDCFF) {
      bytes += static_cast<char>(character - 0xDC00);
      continue;
    }
    if (is_surrogate(character)) bytes += '\0';
    internal::append_utf8(bytes, character);
  }
  return bytes;
}

/// The place of the next NUL that stands before a surrogate's bytes; npos when there is none.
std::size_t next_surrogate(std::string_view bytes) {
  constexpr std::string_view mark("\0\xED", 2);
  std::size_t at = bytes.find(mark);
  while (at != std::string_view::npos &&
         (at + 4 > bytes.size() || static_cast<unsigned char>(bytes[at + 2]) < 0xA0)) {
    at = bytes.find(mark, at + 1);
  }
  return at;
}

py::object decoded(std::string_view bytes) {
  return owned(
      PyUnicode_DecodeUTF8(bytes.data(), static_cast<Py_ssize_t>(bytes.size()), "surrogateescape"));
}

}  // namespace

std::string bytes_of(const py::handle& text) {
  Py_ssize_t size = 0;
  const char* const utf8 = PyUnicode_AsUTF8AndSize(text.ptr(), &size);
  if (utf8 != nullptr) return {utf8, static_cast<std::size_t>(size)};
  if (PyErr_ExceptionMatches(PyExc_UnicodeEncodeError) == 0) throw py::error_already_set();
  PyErr_Clear();
  return bytes_with_surrogates(text);
}

py::str str_of(std::string_view bytes) {
  std::size_t at = next_surrogate(bytes);
  if (at == std::string_view::npos) return py::str(decoded(bytes));
  py::object text = py::str();
  for (; at != std::string_view::npos; at = next_surrogate(bytes)) {
    text = text + decoded(bytes.substr(0, at)) +
           owned(PyUnicode_DecodeUTF8(&bytes[at + 1], 3, "surrogatepass"));
    bytes.remove_prefix(at + 4);
  }
  return py::str(text + decoded(bytes));
}

std::string text_of(const py::handle& value) {
  if (PyUnicode_Check(value.ptr()) != 0) return bytes_of(value);
  if (py::hasattr(value, "__fspath__")) return path_of(value);
  return bytes_of(owned(PyObject_Str(value.ptr())));
}

std::string path_of(const py::handle& value) {
  if (PyUnicode_Check(value.ptr()) != 0) return bytes_of(value);
  if (PyBytes_Check(value.ptr()) != 0) {
    PyErr_SetString(PyExc_TypeError, "expected str or os.PathLike object, not bytes");
    throw py::error_already_set();
  }
  const py::object text = owned(PyOS_FSPath(value.ptr()));
  if (PyBytes_Check(text.ptr()) != 0) return text.cast<std::string>();
  return bytes_of(text);
}

py::object path_object(std::string_view path) {
  return py::module_::import("pathlib").attr("Path")(str_of(path));
}

}  // namespace structure_ingest::python
