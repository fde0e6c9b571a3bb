// The byte codecs under the state formats, against published test vectors.
#include "presets/codec.h"

#include <gtest/gtest.h>

#include <string>

namespace torvo {
namespace {

std::vector<uint8_t> bytesOf(const std::string& s) {
    return std::vector<uint8_t>(s.begin(), s.end());
}

TEST(Base64, VectorsPaddingAndRejects) {
    const std::pair<std::string, std::string> vectors[] = {{"", ""},
                                                           {"f", "Zg=="},
                                                           {"fo", "Zm8="},
                                                           {"foo", "Zm9v"},
                                                           {"foob", "Zm9vYg=="},
                                                           {"fooba", "Zm9vYmE="},
                                                           {"foobar", "Zm9vYmFy"}};
    for (const auto& [plain, encoded] : vectors) {
        const std::vector<uint8_t> in = bytesOf(plain);
        EXPECT_EQ(codec::base64Encode(in.data(), in.size()), encoded);
        std::vector<uint8_t> out;
        if (encoded.empty()) {
            EXPECT_FALSE(codec::base64Decode(encoded.data(), encoded.size(), out));
            continue;
        }
        ASSERT_TRUE(codec::base64Decode(encoded.data(), encoded.size(), out)) << encoded;
        EXPECT_EQ(out, in);
        // The terminating NUL and line ends around the text are ignored.
        const std::string framed = "\n" + encoded + "\r\n" + std::string(1, '\0');
        ASSERT_TRUE(codec::base64Decode(framed.data(), framed.size(), out));
        EXPECT_EQ(out, in);
    }
    std::vector<uint8_t> out;
    for (const std::string bad : {"Zg=", "Zm9v!A==", "Zm 9v", "====", "Z==="}) {
        EXPECT_FALSE(codec::base64Decode(bad.data(), bad.size(), out)) << bad;
        EXPECT_TRUE(out.empty());
    }
    std::vector<uint8_t> all(256);
    for (int i = 0; i < 256; ++i) all[i] = uint8_t(i);
    const std::string text = codec::base64Encode(all.data(), all.size());
    ASSERT_TRUE(codec::base64Decode(text.data(), text.size(), out));
    EXPECT_EQ(out, all);
}

TEST(RawDeflate, RoundTripHasNoHeaderAndRejectsBrokenStreams) {
    std::string text;
    for (int i = 0; i < 5000; ++i) text += "{\"params\":[0.5," + std::to_string(i) + "]}";
    const std::vector<uint8_t> in = bytesOf(text);
    std::vector<uint8_t> packed, out;
    ASSERT_TRUE(codec::rawDeflate(in.data(), in.size(), packed));
    EXPECT_LT(packed.size(), in.size() / 4);
    // A zlib header would start with 0x78; raw deflate of this text does not.
    EXPECT_NE(packed[0], 0x78);
    ASSERT_TRUE(codec::rawInflate(packed.data(), packed.size(), out));
    EXPECT_EQ(out, in);

    EXPECT_FALSE(codec::rawInflate(packed.data(), packed.size() / 2, out)); // truncated
    EXPECT_TRUE(out.empty());
    const std::vector<uint8_t> junk = bytesOf("this is not deflate at all \xff\xff\xff");
    EXPECT_FALSE(codec::rawInflate(junk.data(), junk.size(), out));
    EXPECT_FALSE(codec::rawInflate(packed.data(), packed.size(), out, 1000)); // bomb guard

    std::vector<uint8_t> emptyPacked;
    ASSERT_TRUE(codec::rawDeflate(nullptr, 0, emptyPacked));
    ASSERT_TRUE(codec::rawInflate(emptyPacked.data(), emptyPacked.size(), out));
    EXPECT_TRUE(out.empty());
}

TEST(Digests, ShaVectors) {
    EXPECT_EQ(codec::sha256Hex("abc", 3),
              "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(codec::sha256Hex("", 0),
              "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(codec::sha512Hex("abc", 3),
              "ddaf35a193617abacc417349ae20413112e6fa4e89a97ea20a9eeee64b55d39a"
              "2192992a274fc1a836ba3c23a3feebbd454d4423643ce80e2a9ac94fa54ca49f");
}

} // namespace
} // namespace torvo
