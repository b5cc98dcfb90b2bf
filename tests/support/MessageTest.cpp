// Message fields in memory: adding, finding, replacing, removing and copying.

#include <gtest/gtest.h>

#include <string>

#include "support/Message.h"

namespace {

constexpr type_code kBlobType = fourcc("Tblb");

// A flat object whose bytes are its text; it reads at most 16 bytes.
class Blob : public Flattenable {
public:
    std::string text;

    type_code TypeCode() const override { return kBlobType; }
    bool IsFixedSize() const override { return false; }
    ssize_t FlattenedSize() const override { return ssize_t(text.size()); }
    status_t Flatten(void* buffer, ssize_t size) const override {
        if (size < FlattenedSize())
            return B_BAD_VALUE;
        text.copy(static_cast<char*>(buffer), text.size());
        return B_OK;
    }
    status_t Unflatten(type_code, const void* buffer, ssize_t size) override {
        if (size > 16)
            return B_BAD_DATA;
        text.assign(static_cast<const char*>(buffer), size);
        return B_OK;
    }
};

TEST(MessageTest, FindReportsMissingNameWrongTypeAndIndexLeavingOutputAlone) {
    Message message(fourcc("test"));
    ASSERT_EQ(message.AddInt32("count", 7), B_OK);

    int32 value = -5;
    EXPECT_EQ(message.FindInt32("missing", &value), B_NAME_NOT_FOUND);
    EXPECT_EQ(message.FindInt32("count", 1, &value), B_BAD_INDEX);
    EXPECT_EQ(message.FindInt32("count", -1, &value), B_BAD_INDEX);
    EXPECT_EQ(value, -5);
    int64 wide = -5;
    EXPECT_EQ(message.FindInt64("count", &wide), B_BAD_TYPE);
    EXPECT_EQ(wide, -5);
    std::string text = "kept";
    EXPECT_EQ(message.FindString("count", &text), B_BAD_TYPE);
    EXPECT_EQ(text, "kept");

    EXPECT_EQ(message.GetInt32("count", 0), 7);
    EXPECT_EQ(message.GetInt32("missing", 3), 3);
    EXPECT_EQ(message.GetString("count", "fallback"), "fallback");
    EXPECT_TRUE(message.GetBool("missing", true));
}

TEST(MessageTest, AddingAnotherTypeToAFieldFailsAndChangesNothing) {
    Message message;
    ASSERT_EQ(message.AddString("format", "avi"), B_OK);
    EXPECT_EQ(message.AddInt32("format", 1), B_BAD_TYPE);
    EXPECT_EQ(message.AddMessage("format", Message(fourcc("x   "))), B_BAD_TYPE);
    type_code type;
    int32 count;
    ASSERT_EQ(message.GetInfo("format", &type, &count), B_OK);
    EXPECT_EQ(type, B_STRING_TYPE);
    EXPECT_EQ(count, 1);

    int32 three = 3;
    EXPECT_EQ(message.AddData("odd", B_INT32_TYPE, &three, 3), B_BAD_VALUE);
    EXPECT_EQ(message.AddInt32(nullptr, 1), B_BAD_VALUE);
    EXPECT_EQ(message.AddInt32("", 1), B_BAD_VALUE);
    EXPECT_EQ(message.CountNames(), 1);
}

TEST(MessageTest, ReplaceOverwritesOneValueOfTheSameType) {
    Message message;
    message.AddInt32("n", 1);
    message.AddInt32("n", 2);
    message.AddString("s", "old");

    EXPECT_EQ(message.ReplaceInt32("n", 1, 20), B_OK);
    EXPECT_EQ(message.ReplaceString("s", "new"), B_OK);
    EXPECT_EQ(message.ReplaceInt32("n", 2, 0), B_BAD_INDEX);
    EXPECT_EQ(message.ReplaceInt64("n", 0, 0), B_BAD_TYPE);
    EXPECT_EQ(message.ReplaceBool("absent", true), B_NAME_NOT_FOUND);

    int32 value;
    ASSERT_EQ(message.FindInt32("n", 0, &value), B_OK);
    EXPECT_EQ(value, 1);
    ASSERT_EQ(message.FindInt32("n", 1, &value), B_OK);
    EXPECT_EQ(value, 20);
    EXPECT_EQ(message.GetString("s", ""), "new");
}

TEST(MessageTest, RemovingTheLastValueRemovesTheFieldAndKeepsTheOrder) {
    Message message;
    message.AddInt32("a", 1);
    message.AddInt32("b", 1);
    message.AddInt32("b", 2);
    message.AddInt32("c", 1);

    EXPECT_EQ(message.RemoveData("b", 0), B_OK);
    EXPECT_EQ(message.GetInt32("b", 0), 2);
    EXPECT_EQ(message.RemoveData("b", 1), B_BAD_INDEX);
    EXPECT_EQ(message.RemoveData("b"), B_OK);
    EXPECT_FALSE(message.HasName("b"));
    EXPECT_EQ(message.RemoveName("b"), B_NAME_NOT_FOUND);

    std::string name;
    ASSERT_EQ(message.GetInfo(1, &name, nullptr, nullptr), B_OK);
    EXPECT_EQ(name, "c");
    EXPECT_EQ(message.GetInfo(2, &name, nullptr, nullptr), B_BAD_INDEX);
    EXPECT_EQ(message.RemoveName("a"), B_OK);
    message.MakeEmpty();
    EXPECT_TRUE(message.IsEmpty());
}

TEST(MessageTest, CopiesAreIndependentAndAMessageCanHoldItsOwnCopy) {
    int target = 0;
    Message inner(fourcc("innr"));
    inner.AddPointer("self", &target);
    Message message(fourcc("outr"));
    message.AddPointer("target", &target);
    message.AddMessage("inner", inner);

    Message copy(message);
    message.ReplacePointer("target", 0, nullptr);
    message.RemoveName("inner");

    void* pointer = nullptr;
    ASSERT_EQ(copy.FindPointer("target", &pointer), B_OK);
    EXPECT_EQ(pointer, &target);
    Message found;
    ASSERT_EQ(copy.FindMessage("inner", &found), B_OK);
    EXPECT_EQ(found.what, fourcc("innr"));
    ASSERT_EQ(found.FindPointer("self", &pointer), B_OK);
    EXPECT_EQ(pointer, &target);

    // A message can hold a copy of itself, as it was when added.
    Message self(fourcc("self"));
    self.AddInt32("n", 1);
    ASSERT_EQ(self.AddMessage("me", self), B_OK);
    ASSERT_EQ(self.ReplaceMessage("me", 0, self), B_OK);
    Message level1, level2;
    ASSERT_EQ(self.FindMessage("me", &level1), B_OK);
    ASSERT_EQ(level1.FindMessage("me", &level2), B_OK);
    EXPECT_EQ(level2.CountNames(), 1);
    EXPECT_EQ(level2.GetInt32("n", 0), 1);
}

TEST(MessageTest, FlatDataGoesThroughTheObjectsOwnChecks) {
    Blob blob;
    blob.text = "abc";
    Message message;
    ASSERT_EQ(message.AddFlat("blob", blob), B_OK);
    message.AddInt32("number", 4);

    Blob found;
    ASSERT_EQ(message.FindFlat("blob", &found), B_OK);
    EXPECT_EQ(found.text, "abc");
    EXPECT_EQ(message.FindFlat("number", &found), B_BAD_TYPE);
    EXPECT_EQ(message.FindFlat("blob", 1, &found), B_BAD_INDEX);

    blob.text = std::string(17, 'x');
    ASSERT_EQ(message.ReplaceFlat("blob", 0, blob), B_OK);
    EXPECT_EQ(message.FindFlat("blob", &found), B_BAD_DATA);
    EXPECT_EQ(found.text, "abc");
}

TEST(MessageTest, StringsKeepEveryByteAndCStringPointersStayValid) {
    Message message;
    const std::string withNul("a\0b", 3);
    message.AddString("bytes", withNul);
    message.AddData("cstring", B_STRING_TYPE, "text", 5);

    EXPECT_EQ(message.GetString("bytes", ""), withNul);
    const char* text = nullptr;
    ASSERT_EQ(message.FindString("cstring", &text), B_OK);
    for (int i = 0; i < 100; i++)
        message.AddInt32(("filler" + std::to_string(i)).c_str(), i);
    message.RemoveName("bytes");
    EXPECT_STREQ(text, "text");
    ssize_t size = 0;
    const void* data = nullptr;
    ASSERT_EQ(message.FindData("cstring", B_ANY_TYPE, 0, &data, &size), B_OK);
    EXPECT_EQ(size, 4);
}

}  // namespace
