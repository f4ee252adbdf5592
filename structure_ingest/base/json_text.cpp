#include "structure_ingest/base/json_values.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "structure_ingest/base/fast/decimals.hpp"
#include "structure_ingest/base/utf8.hpp"

namespace structure_ingest {
namespace {

/// Writes the text of values, through a buffer that fits the processor's cache.
class Writer {
 public:
  /// An `indent` below zero means one line.
  Writer(int indent, const internal::TextSink& take, std::span<const internal::JsonList> lists)
      : indent_(indent), take_(take), lists_(lists) {}

  void write(const Json& value);

  void flush() {
    if (at_ != buffer_.data()) take_({buffer_.data(), at_});
    at_ = buffer_.data();
  }

 private:
  /// Returns where up to `size` bytes can be written; the caller then moves `at_` past them.
  char* room(std::size_t size = internal::NUMBER_ROOM) {
    if (buffer_.data() + buffer_.size() - at_ < static_cast<std::ptrdiff_t>(size)) flush();
    return at_;
  }

  void add(char c) {
    *room() = c;
    ++at_;
  }

  void add(std::string_view text) {
    if (text.size() > internal::NUMBER_ROOM) {
      flush();
      return take_(text);
    }
    std::memcpy(room(), text.data(), text.size());
    at_ += text.size();
  }

  template <typename Integer>
  void add_integer(Integer value) {
    char* const out = room();
    at_ = std::to_chars(out, out + internal::NUMBER_ROOM, value).ptr;
  }

  void next_item(bool comma);
  void add_blanks(std::size_t count);
  void add_float(double number);
  void add_string(std::string_view text);
  void add_special_character(std::string_view text, internal::Character character);
  void add_item(const std::string& text);
  void add_item(const std::array<double, 3>& numbers);
  void add_list_at(std::size_t index);
  template <typename Items, typename WriteItem>
  void add_list(char open, char close, const Items& items, WriteItem write_item);

  std::array<char, 1 << 14> buffer_;
  char* at_ = buffer_.data();
  int indent_;
  const internal::TextSink& take_;
  std::span<const internal::JsonList> lists_;
  std::size_t level_ = 0;
};

/// Starts the next item of a list; with `comma` false, its first item or its end. Leaves room for a
/// number.
inline void Writer::next_item(bool comma) {
  constexpr std::size_t some = 32;
  char* out = room(2 + some + internal::NUMBER_ROOM);
  *out = ',';
  out += comma ? 1 : 0;
  if (indent_ < 0) {
    *out = ' ';
    at_ = out + (comma ? 1 : 0);
    return;
  }
  *out++ = '\n';
  const std::size_t blanks = level_ * static_cast<std::size_t>(indent_);
  std::memset(out, ' ', some);
  at_ = out + std::min(blanks, some);
  if (blanks > some) add_blanks(blanks - some);
}

void Writer::add_blanks(std::size_t count) {
  for (; count > 0; --count) add(' ');
  room();
}

/// Adds a number where there is room for one.
inline void Writer::add_float(double number) {
  if (std::isfinite(number)) {
    at_ = internal::write_shortest(at_, number);
  } else {
    add("null");
  }
}

/// Adds a character that may need an escape; `text` is its bytes.
void Writer::add_special_character(std::string_view text, internal::Character character) {
  if (character.value == internal::INVALID_CHARACTER) return add("\uFFFD");
  constexpr std::string_view special = "\"\\\b\f\n\r\t", names = "\"\\bfnrt";
  if (const std::size_t found = special.find(text); found < special.size()) {
    add('\\');
    return add(names[found]);
  }
  if (character.value >= 0x20 && (character.value < 0x7F || character.value >= 0xA0))
    return add(text);
  constexpr std::string_view hex = "0123456789abcdef";
  add("\\u00");
  add(hex[character.value >> 4 & 0xF]);
  add(hex[character.value & 0xF]);
}

void Writer::add_string(std::string_view text) {
  add('"');
  for (std::size_t position = 0; position < text.size();) {
    // Most text is short and needs no escapes: copy up to the next character that might.
    const std::size_t end = std::min(text.size(), position + internal::NUMBER_ROOM);
    char* out = room();
    while (position < end && text[position] >= 0x20 && text[position] < 0x7F &&
           text[position] != '"' && text[position] != '\\') {
      *out++ = text[position++];
    }
    at_ = out;
    if (position == end) continue;
    const internal::Character character = internal::character_at(text, position);
    add_special_character(text.substr(position, character.length), character);
    position += character.length;
  }
  add('"');
}

template <typename Items, typename WriteItem>
void Writer::add_list(char open, char close, const Items& items, WriteItem write_item) {
  add(open);
  if (!items.empty()) {
    ++level_;
    bool comma = false;
    for (const auto& item : items) {
      next_item(comma);
      write_item(item);
      comma = true;
    }
    --level_;
    next_item(false);
  }
  add(close);
}

void Writer::add_item(const std::string& text) {
  add_string(internal::utf8_text(text));
}

void Writer::add_item(const std::array<double, 3>& numbers) {
  add_list('[', ']', numbers, [this](double number) { add_float(number); });
}

void Writer::add_list_at(std::size_t index) {
  if (index >= lists_.size()) return add("null");
  std::visit(
      [this](const auto& items) {
        add_list('[', ']', items, [this](const auto& item) { this->add_item(item); });
      },
      lists_[index]);
}

void Writer::write(const Json& value) {
  switch (value.type()) {
    case Json::value_t::object:
      return add_list('{', '}', value.get_ref<const Json::object_t&>(), [this](const auto& member) {
        add_string(member.first);
        add(": ");
        write(member.second);
      });
    case Json::value_t::array:
      return add_list('[', ']', value.get_ref<const Json::array_t&>(), [this](const Json& item) {
        // Nearly all values are the floats of long lists.
        if (const auto* const number = item.get_ptr<const double*>()) {
          add_float(*number);
        } else {
          write(item);
        }
      });
    case Json::value_t::string:
      return add_string(value.get_ref<const std::string&>());
    case Json::value_t::boolean:
      return add(value.get<bool>() ? std::string_view("true") : std::string_view("false"));
    case Json::value_t::number_integer:
      return add_integer(value.get<std::int64_t>());
    case Json::value_t::number_unsigned:
      return add_integer(value.get<std::uint64_t>());
    case Json::value_t::number_float:
      room();
      return add_float(value.get<double>());
    case Json::value_t::binary:  // JSON has no such values: we use them as placeholders
      return add_list_at(static_cast<std::size_t>(value.get_binary().subtype()));
    default:  // null, and values that JSON cannot hold
      return add("null");
  }
}

}  // namespace

std::string json_text(const Json& value, int indent) {
  std::string text;
  internal::take_json_text(value, indent, [&text](std::string_view piece) { text += piece; });
  return text;
}

Json internal::list_placeholder(std::size_t index) {
  return Json::binary({}, index);
}

void internal::take_json_text(const Json& value, int indent, const TextSink& take,
                              std::span<const JsonList> lists) {
  Writer writer(indent, take, lists);
  writer.write(value);
  writer.flush();
}

}  // namespace structure_ingest
