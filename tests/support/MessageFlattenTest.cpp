// The flattened form of a Message: every type round-trips, and damaged or hostile data is
// refused without a crash, an over-read or a huge allocation.

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "support/Message.h"

namespace {

// Writes the flattened form by hand, so that tests can build data Flatten never would.
class Bytes {
public:
    Bytes& U32(uint32 value) {
        for (int i = 0; i < 4; i++)
            data.push_back(uint8(value >> (8 * i)));
        return *this;
    }
    Bytes& Raw(std::string_view bytes) {
        data.insert(data.end(), bytes.begin(), bytes.end());
        return *this;
    }
    Bytes& Header(uint32 fieldCount, uint32 what = fourcc("recd")) {
        return Raw("TMsg").U32(1).U32(what).U32(fieldCount);
    }
    Bytes& Field(std::string_view name, type_code type, uint32 count) {
        return U32(uint32(name.size())).Raw(name).U32(type).U32(count);
    }
    Bytes& Value(std::string_view bytes) { return U32(uint32(bytes.size())).Raw(bytes); }
    Bytes& Value(const std::vector<uint8>& bytes) {
        return Value(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
    }

    std::vector<uint8> data;
};

std::vector<uint8> flatten(const Message& message) {
    std::vector<uint8> bytes;
    EXPECT_EQ(message.Flatten(&bytes), B_OK);
    EXPECT_EQ(ssize_t(bytes.size()), message.FlattenedSize());
    return bytes;
}

// Unflattens into a message holding a sentinel field, checking that a refusal leaves it.
status_t unflattenChecked(const std::vector<uint8>& bytes, size_t size) {
    Message message(fourcc("keep"));
    message.AddInt32("sentinel", 1);
    status_t status = message.Unflatten(bytes.data(), size);
    if (status != B_OK) {
        EXPECT_EQ(message.what, fourcc("keep"));
        EXPECT_EQ(message.CountNames(), 1);
        EXPECT_EQ(message.GetInt32("sentinel", 0), 1);
    }
    return status;
}

// A message like the settings file's: every type, repeated values, nested messages.
Message settingsLikeMessage() {
    Message inner(fourcc("innr"));
    inner.AddString("name", "PAL");
    inner.AddInt64("frequency", 471250000);
    Message middle(fourcc("midl"));
    middle.AddMessage("inner", inner);
    middle.AddBool("on", true);

    Message message(fourcc("Tavr"));
    message.AddInt8("small", -7);
    message.AddInt32("count", -123456);
    message.AddInt32("count", 2);
    message.AddInt64("big", int64(1) << 40);
    message.AddBool("flag", false);
    message.AddBool("flag", true);
    message.AddFloat("quality", 0.75f);
    message.AddDouble("rate", 29.97);
    message.AddString("format", "avi");
    message.AddString("format", "");
    message.AddString("format", std::string("x\0y", 3));
    message.AddRect("frame", Rect{10, 20, 394.5f, 308});
    message.AddPoint("where", Point{-1.5f, 2});
    message.AddMessage("nested", middle);
    message.AddMessage("nested", Message(fourcc("empt")));
    const uint8 raw[] = {0, 1, 2, 0xff};
    message.AddData("raw", fourcc("Tfmt"), raw, sizeof(raw));
    return message;
}

TEST(MessageFlattenTest, EveryTypeRoundTripsInInsertionOrder) {
    Message original = settingsLikeMessage();
    std::vector<uint8> bytes = flatten(original);
    Message withPointer = original;
    int local = 0;
    withPointer.AddPointer("pointer", &local);
    EXPECT_EQ(flatten(withPointer), bytes) << "pointers are never flattened";

    Message copy;
    ASSERT_EQ(copy.Unflatten(bytes.data(), bytes.size()), B_OK);
    // The dump shows every name, type and value in order, numbers at full precision.
    EXPECT_EQ(copy.ToString(), original.ToString());
    // Flattened again, it gives the same bytes: nested messages, raw data and strings with a
    // NUL in them included.
    EXPECT_EQ(flatten(copy), bytes);
}

TEST(MessageFlattenTest, LayoutIsLittleEndianWithLengthPrefixedValues) {
    Message message(fourcc("recd"));
    message.AddInt32("n", 0x01020304);
    message.AddString("s", "ab");
    std::vector<uint8> expected = Bytes()
                                      .Header(2)
                                      .Field("n", B_INT32_TYPE, 1)
                                      .Value("\x04\x03\x02\x01")
                                      .Field("s", B_STRING_TYPE, 1)
                                      .Value("ab")
                                      .data;
    EXPECT_EQ(flatten(message), expected);
    EXPECT_EQ(std::string(expected.begin() + 8, expected.begin() + 12), "dcer");

    char small[8];
    EXPECT_EQ(message.Flatten(small, sizeof(small)), B_BAD_VALUE);
}

TEST(MessageFlattenTest, EveryTruncationIsRefused) {
    std::vector<uint8> bytes = flatten(settingsLikeMessage());
    for (size_t size = 0; size < bytes.size(); size++) {
        SCOPED_TRACE(size);
        EXPECT_EQ(unflattenChecked(bytes, size), B_BAD_DATA);
    }
    bytes.push_back(0);
    EXPECT_EQ(unflattenChecked(bytes, bytes.size()), B_BAD_DATA) << "trailing bytes";
}

// Whatever the damage, the result is a refusal or a message that flattens back to the
// same bytes (the form has one spelling for each message).
void expectRefusedOrCanonical(const std::vector<uint8>& bytes) {
    Message message;
    if (message.Unflatten(bytes.data(), bytes.size()) == B_OK) {
        std::vector<uint8> again;
        ASSERT_EQ(message.Flatten(&again), B_OK);
        EXPECT_EQ(again, bytes);
    }
}

TEST(MessageFlattenTest, CorruptedBytesAreRefusedOrReadConsistently) {
    const std::vector<uint8> original = flatten(settingsLikeMessage());
    for (size_t i = 0; i < original.size(); i++) {
        for (uint8 mask : {uint8(0x01), uint8(0x80), uint8(0xff)}) {
            std::vector<uint8> bytes = original;
            bytes[i] ^= mask;
            expectRefusedOrCanonical(bytes);
        }
    }
    std::mt19937 random(1234);
    for (int round = 0; round < 2000; round++) {
        std::vector<uint8> bytes = original;
        for (int hits = 1 + round % 4; hits > 0; hits--)
            bytes[random() % bytes.size()] = uint8(random());
        expectRefusedOrCanonical(bytes);
    }
}

// Counts are checked against the bytes left before anything is allocated for them; a
// hostile count must neither allocate gigabytes nor read past the end.
TEST(MessageFlattenTest, InconsistentFieldsHostileCountsAndForeignHeadersAreRefused) {
    const std::string fourBytes("\0\0\0\0", 4);
    const std::vector<std::vector<uint8>> cases = {
        Bytes().Header(1).Field("n", B_INT32_TYPE, 1).Value("abc").data,
        Bytes().Header(1).Field("r", B_RECT_TYPE, 1).Value(fourBytes + fourBytes).data,
        Bytes().Header(1).Field("b", B_BOOL_TYPE, 1).Value("\x02").data,
        Bytes().Header(1).Field("b", B_BOOL_TYPE, 1).Value(std::string("\0\0", 2)).data,
        Bytes().Header(1).Field("p", B_POINTER_TYPE, 1).Value(fourBytes + fourBytes).data,
        Bytes().Header(1).Field("a", B_ANY_TYPE, 1).Value("").data,
        Bytes().Header(1).Field("", B_STRING_TYPE, 1).Value("").data,
        Bytes().Header(1).Field(std::string_view("a\0b", 3), B_STRING_TYPE, 1).Value("").data,
        Bytes().Header(1).Field("z", B_STRING_TYPE, 0).Value("").data,
        Bytes()
            .Header(2)
            .Field("s", B_STRING_TYPE, 1)
            .Value("")
            .Field("s", B_STRING_TYPE, 1)
            .Value("")
            .data,
        Bytes().Header(1).Field("m", B_MESSAGE_TYPE, 1).Value("TMsg").data,
        Bytes().Header(1).Field("m", B_MESSAGE_TYPE, 1).Value(Bytes().Header(0).U32(0).data).data,
        Bytes().Header(0xffffffff).data,
        Bytes().Header(1).Field("s", B_STRING_TYPE, 0x7fffffff).Value("x").data,
        Bytes().Header(1).Field("s", B_STRING_TYPE, 0xffffffff).Value("x").data,
        Bytes().Header(1).Field("s", B_STRING_TYPE, 1).U32(0xffffffff).Raw("abc").data,
        Bytes().Header(1).U32(0xfffffff0).Raw("name").data,
    };
    for (size_t i = 0; i < cases.size(); i++) {
        SCOPED_TRACE(i);
        EXPECT_EQ(unflattenChecked(cases[i], cases[i].size()), B_BAD_DATA);
    }
    // Another magic or version is no message of this form at all.
    std::vector<uint8> bytes = Bytes().Raw("XMsg").U32(1).U32(0).U32(0).data;
    EXPECT_EQ(unflattenChecked(bytes, bytes.size()), B_BAD_VALUE);
    EXPECT_EQ(unflattenChecked(bytes, 2), B_BAD_VALUE);
    bytes = Bytes().Raw("TMsg").U32(2).U32(0).U32(0).data;
    EXPECT_EQ(unflattenChecked(bytes, bytes.size()), B_BAD_VALUE);
}

TEST(MessageFlattenTest, NestingIsLimitedTo32Levels) {
    // Built in memory: the 33rd level cannot be added, so every message can be read back.
    Message chain(fourcc("leaf"));
    for (int level = 1; level <= 32; level++) {
        Message outer(fourcc("node"));
        ASSERT_EQ(outer.AddMessage("child", chain), B_OK) << level;
        chain = outer;
    }
    Message tooDeep;
    EXPECT_EQ(tooDeep.AddMessage("child", chain), B_BAD_VALUE);
    std::vector<uint8> bytes = flatten(chain);
    Message copy;
    ASSERT_EQ(copy.Unflatten(bytes.data(), bytes.size()), B_OK);
    EXPECT_EQ(flatten(copy), bytes);

    // Written by hand, far deeper than the limit.
    bytes = Bytes().Header(0).data;
    for (int level = 0; level < 1000; level++)
        bytes = Bytes().Header(1).Field("child", B_MESSAGE_TYPE, 1).Value(bytes).data;
    EXPECT_EQ(unflattenChecked(bytes, bytes.size()), B_BAD_DATA);
}

}  // namespace
