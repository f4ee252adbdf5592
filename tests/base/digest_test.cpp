#include "structure_ingest/base/digest.hpp"

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace structure_ingest::internal {
namespace {

TEST(Digest, Base64) {
  for (const auto& [bytes, text] : std::initializer_list<std::pair<std::string, std::string>>{
           {"", ""},
           {"f", "Zg=="},
           {"fo", "Zm8="},
           {"foo", "Zm9v"},
           {"foobar", "Zm9vYmFy"},
           {std::string("\xff\x00\xfe", 3), "/wD+"}}) {
    EXPECT_EQ(base64(bytes), text);
  }
}

// More bytes than libcrypto encodes in one call.
TEST(Digest, Base64OfManyBytes) {
  const std::string text = base64(std::string(std::size_t{4} << 20, 'a'));
  EXPECT_EQ(text.size(), ((std::size_t{4} << 20) + 2) / 3 * 4);
  EXPECT_EQ(text.substr(text.size() - 8), "YWFhYQ==");
  EXPECT_EQ(text.find('='), text.size() - 2);
  EXPECT_EQ(text.substr(std::size_t{4} << 20, 8), "YWFhYWFh");
}

TEST(Digest, HexAndBytesAgree) {
  EXPECT_EQ(sha256_hex("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  EXPECT_EQ(sha256_bytes("abc").substr(0, 3), "\xba\x78\x16");
}

}  // namespace
}  // namespace structure_ingest::internal
