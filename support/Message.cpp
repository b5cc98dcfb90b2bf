// Flattened form, version 1. Every integer is little-endian.
//
//   magic        4 bytes  'T' 'M' 's' 'g'
//   version      uint32   1
//   what         uint32
//   field count  uint32   fields that follow (pointer fields are not counted: never flattened)
//   per field, in insertion order:
//     name length  uint32   at least 1; the name bytes follow, no NUL, no terminator
//     type         uint32   the field's type code
//     value count  uint32   at least 1
//     per value:   uint32 length, then that many bytes
//
// Value bytes: int8 and bool 1 byte (a bool is 0 or 1), int32 and float 4, int64 and double 8,
// point 8 (x, y as floats), rect 16 (left, top, right, bottom as floats), numbers little-endian;
// a string is its bytes without a NUL; a nested message is its own flattened form; any other
// type code (flat data such as 'Tfmt', raw data) is the object's bytes, stored as given.
//
// Reading accepts exactly what writing produces, so every accepted input flattens back to the
// same bytes: a wrong magic or version gives B_BAD_VALUE; a short read, a value whose size does
// not fit its type, an empty or repeated name, a name holding a NUL, a field of no values, a
// pointer field, a chain of more than 32 nested messages (kMaxNesting; AddMessage refuses to
// build one, too) and bytes left over after the last field all give B_BAD_DATA. Counts are
// checked against the bytes left before anything is allocated for them.

#include "support/Message.h"

#include <algorithm>
#include <bit>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string_view>
#include <unordered_set>
#include <utility>

#include "support/ByteReader.h"

namespace {

constexpr uint8 kMagic[4] = {'T', 'M', 's', 'g'};
constexpr uint32 kVersion = 1;
constexpr size_t kHeaderSize = 16;
// A message may hold a chain of this many nested messages; deeper data is refused rather
// than risk the reader's stack.
constexpr int kMaxNesting = 32;
// Smallest flattened field: name length, a 1-byte name, type, count, one empty value.
constexpr size_t kMinFieldSize = 4 + 1 + 4 + 4 + 4;
constexpr size_t kMaxLength = std::numeric_limits<uint32>::max();

// The stored size of one value of a fixed-size type, and the size of the numbers it is made
// of (which flattening puts in little-endian order); 0 for types of any size.
struct FixedLayout {
    size_t size;
    size_t unit;
};

FixedLayout fixedLayout(type_code type) {
    switch (type) {
        case B_INT8_TYPE:
        case B_BOOL_TYPE:
            return {1, 1};
        case B_INT32_TYPE:
        case B_FLOAT_TYPE:
            return {4, 4};
        case B_INT64_TYPE:
        case B_DOUBLE_TYPE:
            return {8, 8};
        case B_POINT_TYPE:
            return {sizeof(Point), sizeof(float)};
        case B_RECT_TYPE:
            return {sizeof(Rect), sizeof(float)};
        case B_POINTER_TYPE:
            return {sizeof(void*), sizeof(void*)};
        default:
            return {0, 0};
    }
}

// Values are stored in host order; the flattened form is little-endian. Swapping is its own
// inverse, so the same call converts both ways.
void toLittleEndian(type_code type, uint8* bytes, size_t size) {
    if constexpr (std::endian::native == std::endian::little) {
        (void)type, (void)bytes, (void)size;
    } else {
        size_t unit = fixedLayout(type).unit;
        if (unit < 2)
            return;
        for (size_t offset = 0; offset + unit <= size; offset += unit) {
            for (size_t i = 0; i < unit / 2; i++)
                std::swap(bytes[offset + i], bytes[offset + unit - 1 - i]);
        }
    }
}

// Whether `size` bytes make one valid value of `type`. Nested messages are checked by
// unflattening them, elsewhere.
bool fitsType(type_code type, const uint8* bytes, size_t size) {
    if (type == B_ANY_TYPE)
        return false;
    FixedLayout layout = fixedLayout(type);
    if (layout.size != 0 && size != layout.size)
        return false;
    if (type == B_BOOL_TYPE && bytes[0] > 1)
        return false;
    return size <= kMaxLength;
}

void putUint32(uint8*& out, uint32 value) {
    for (int i = 0; i < 4; i++)
        *out++ = uint8(value >> (8 * i));
}

// Reads the flattened form front to back; every read checks the bytes left first.
std::string describeCode(uint32 code) {
    char text[16];
    bool printable = true;
    for (int shift = 24; shift >= 0; shift -= 8) {
        uint8 c = uint8(code >> shift);
        printable = printable && c >= 0x20 && c < 0x7f;
    }
    if (printable) {
        std::snprintf(text, sizeof(text), "'%c%c%c%c'", char(code >> 24), char(code >> 16),
                      char(code >> 8), char(code));
    } else {
        std::snprintf(text, sizeof(text), "0x%08" PRIx32, code);
    }
    return text;
}

}  // namespace

struct Message::Field {
    struct Value {
        // The value in host order (see fitsType); a nested message's flattened form.
        std::string bytes;
        // Only for nested messages: the message itself, so that copies keep its pointer
        // fields. Never changed once stored, which is why copies may share it.
        std::shared_ptr<const Message> message;
        // Only for nested messages: 1 + the nesting depth of `message`.
        int depth = 0;
    };

    std::string name;
    type_code type = 0;
    std::vector<Value> values;

    // Levels of nested messages below `message`'s own: 0 when it holds none.
    static int NestingDepth(const Message& message) {
        int depth = 0;
        for (const Field& field : message.fFields) {
            for (const Value& value : field.values)
                depth = std::max(depth, value.depth);
        }
        return depth;
    }

    // Reading the flattened form builds the fields directly: looking each one up by name, as
    // adding does, would make a file of many fields quadratic to read. `depth` counts the
    // messages around this one.
    // `salvage`: on damage, `message` keeps every field and value read whole before it.
    static status_t Read(Message* message, const uint8* data, size_t size, int depth,
                         bool salvage = false);
    // One value: `bytes` are little-endian and unchecked.
    static status_t ReadValue(type_code type, const uint8* bytes, size_t length, int depth,
                              Value* value);

    // A nested message's value: a copy of it and its flattened form. Fails for one nested
    // too deep to be read back.
    static status_t MakeMessageValue(const Message& message, Value* value) {
        int depth = NestingDepth(message) + 1;
        if (depth > kMaxNesting)
            return B_BAD_VALUE;
        std::vector<uint8> flat;
        status_t status = message.Flatten(&flat);
        if (status != B_OK)
            return status;
        if (flat.size() > kMaxLength)
            return B_BAD_VALUE;
        value->bytes.assign(flat.begin(), flat.end());
        value->message = std::make_shared<const Message>(message);
        value->depth = depth;
        return B_OK;
    }
};

Message::Message() = default;
Message::Message(uint32 whatCode) : what(whatCode) {}
Message::Message(const Message& other) = default;
Message::Message(Message&& other) noexcept = default;
Message& Message::operator=(const Message& other) = default;
Message& Message::operator=(Message&& other) noexcept = default;
Message::~Message() = default;

Message::Field* Message::FindField(const char* name) {
    return const_cast<Field*>(std::as_const(*this).FindField(name));
}

const Message::Field* Message::FindField(const char* name) const {
    if (name == nullptr)
        return nullptr;
    for (const Field& field : fFields) {
        if (field.name == name)
            return &field;
    }
    return nullptr;
}

status_t Message::AddValue(const char* name, type_code type, const void* data, size_t size) {
    if (name == nullptr || name[0] == '\0')
        return B_BAD_VALUE;
    if (type == B_MESSAGE_TYPE) {
        // Raw bytes offered as a message must be one.
        Message nested;
        status_t status = nested.Unflatten(data, size);
        if (status != B_OK)
            return status;
        return AddMessage(name, nested);
    }
    if (size > 0 && data == nullptr)
        return B_BAD_VALUE;
    const uint8* bytes = static_cast<const uint8*>(data);
    if (!fitsType(type, bytes, size))
        return B_BAD_VALUE;

    Field* field = FindField(name);
    if (field != nullptr && field->type != type)
        return B_BAD_TYPE;
    if (field != nullptr && field->values.size() >= size_t(std::numeric_limits<int32>::max()))
        return B_NO_MEMORY;
    if (field == nullptr) {
        field = &fFields.emplace_back();
        field->name = name;
        field->type = type;
    }
    field->values.push_back({std::string(reinterpret_cast<const char*>(bytes), size), nullptr});
    return B_OK;
}

status_t Message::GetValue(const char* name, type_code type, int32 index, const void** data,
                           size_t* size) const {
    const Field* field = FindField(name);
    if (field == nullptr)
        return B_NAME_NOT_FOUND;
    if (type != B_ANY_TYPE && field->type != type)
        return B_BAD_TYPE;
    if (index < 0 || size_t(index) >= field->values.size())
        return B_BAD_INDEX;
    const std::string& bytes = field->values[index].bytes;
    *data = bytes.c_str();
    *size = bytes.size();
    return B_OK;
}

status_t Message::ReplaceValue(const char* name, type_code type, int32 index, const void* data,
                               size_t size) {
    Field* field = FindField(name);
    if (field == nullptr)
        return B_NAME_NOT_FOUND;
    if (field->type != type)
        return B_BAD_TYPE;
    if (index < 0 || size_t(index) >= field->values.size())
        return B_BAD_INDEX;
    if (type == B_MESSAGE_TYPE) {
        Message nested;
        status_t status = nested.Unflatten(data, size);
        if (status != B_OK)
            return status;
        return ReplaceMessage(name, index, nested);
    }
    if (size > 0 && data == nullptr)
        return B_BAD_VALUE;
    if (!fitsType(type, static_cast<const uint8*>(data), size))
        return B_BAD_VALUE;
    field->values[index] = {std::string(static_cast<const char*>(data), size), nullptr};
    return B_OK;
}

// #pragma mark - Adding

status_t Message::AddInt8(const char* name, int8 value) {
    return AddValue(name, B_INT8_TYPE, &value, sizeof(value));
}

status_t Message::AddInt32(const char* name, int32 value) {
    return AddValue(name, B_INT32_TYPE, &value, sizeof(value));
}

status_t Message::AddInt64(const char* name, int64 value) {
    return AddValue(name, B_INT64_TYPE, &value, sizeof(value));
}

status_t Message::AddBool(const char* name, bool value) {
    uint8 byte = value ? 1 : 0;
    return AddValue(name, B_BOOL_TYPE, &byte, 1);
}

status_t Message::AddFloat(const char* name, float value) {
    return AddValue(name, B_FLOAT_TYPE, &value, sizeof(value));
}

status_t Message::AddDouble(const char* name, double value) {
    return AddValue(name, B_DOUBLE_TYPE, &value, sizeof(value));
}

status_t Message::AddString(const char* name, std::string_view value) {
    return AddValue(name, B_STRING_TYPE, value.data(), value.size());
}

status_t Message::AddRect(const char* name, const Rect& value) {
    return AddValue(name, B_RECT_TYPE, &value, sizeof(value));
}

status_t Message::AddPoint(const char* name, const Point& value) {
    return AddValue(name, B_POINT_TYPE, &value, sizeof(value));
}

status_t Message::AddPointer(const char* name, const void* pointer) {
    return AddValue(name, B_POINTER_TYPE, &pointer, sizeof(pointer));
}

status_t Message::AddMessage(const char* name, const Message& message) {
    if (name == nullptr || name[0] == '\0')
        return B_BAD_VALUE;
    Field* field = FindField(name);
    if (field != nullptr && field->type != B_MESSAGE_TYPE)
        return B_BAD_TYPE;
    // Made before the field changes: `message` may be this very message.
    Field::Value value;
    status_t status = Field::MakeMessageValue(message, &value);
    if (status != B_OK)
        return status;
    if (field == nullptr) {
        field = &fFields.emplace_back();
        field->name = name;
        field->type = B_MESSAGE_TYPE;
    }
    field->values.push_back(std::move(value));
    return B_OK;
}

status_t Message::AddFlat(const char* name, const Flattenable& object) {
    ssize_t size = object.FlattenedSize();
    if (size < 0)
        return status_t(size);
    std::vector<uint8> bytes(size);
    status_t status = object.Flatten(bytes.data(), size);
    if (status != B_OK)
        return status;
    return AddValue(name, object.TypeCode(), bytes.data(), bytes.size());
}

status_t Message::AddData(const char* name, type_code type, const void* data, ssize_t size) {
    if (size < 0)
        return B_BAD_VALUE;
    size_t length = size_t(size);
    // A string may come with the NUL a C string ends with; it is not part of the value.
    if (type == B_STRING_TYPE && length > 0 && data != nullptr &&
        static_cast<const char*>(data)[length - 1] == '\0')
        length--;
    return AddValue(name, type, data, length);
}

// #pragma mark - Finding

namespace {

// Reads a fixed-size value; the output stays untouched on error.
template <typename T>
status_t findFixed(const Message& message, const char* name, type_code type, int32 index,
                   T* value) {
    if (value == nullptr)
        return B_BAD_VALUE;
    const void* data;
    ssize_t size;
    status_t status = message.FindData(name, type, index, &data, &size);
    if (status == B_OK)
        std::memcpy(value, data, sizeof(T));
    return status;
}

}  // namespace

status_t Message::FindInt8(const char* name, int32 index, int8* value) const {
    return findFixed(*this, name, B_INT8_TYPE, index, value);
}

status_t Message::FindInt32(const char* name, int32 index, int32* value) const {
    return findFixed(*this, name, B_INT32_TYPE, index, value);
}

status_t Message::FindInt64(const char* name, int32 index, int64* value) const {
    return findFixed(*this, name, B_INT64_TYPE, index, value);
}

status_t Message::FindFloat(const char* name, int32 index, float* value) const {
    return findFixed(*this, name, B_FLOAT_TYPE, index, value);
}

status_t Message::FindDouble(const char* name, int32 index, double* value) const {
    return findFixed(*this, name, B_DOUBLE_TYPE, index, value);
}

status_t Message::FindRect(const char* name, int32 index, Rect* value) const {
    return findFixed(*this, name, B_RECT_TYPE, index, value);
}

status_t Message::FindPoint(const char* name, int32 index, Point* value) const {
    return findFixed(*this, name, B_POINT_TYPE, index, value);
}

status_t Message::FindPointer(const char* name, int32 index, void** pointer) const {
    return findFixed(*this, name, B_POINTER_TYPE, index, pointer);
}

status_t Message::FindBool(const char* name, int32 index, bool* value) const {
    if (value == nullptr)
        return B_BAD_VALUE;
    const void* data;
    size_t size;
    status_t status = GetValue(name, B_BOOL_TYPE, index, &data, &size);
    if (status == B_OK)
        *value = *static_cast<const uint8*>(data) != 0;
    return status;
}

status_t Message::FindString(const char* name, int32 index, std::string* value) const {
    if (value == nullptr)
        return B_BAD_VALUE;
    const void* data;
    size_t size;
    status_t status = GetValue(name, B_STRING_TYPE, index, &data, &size);
    if (status == B_OK)
        value->assign(static_cast<const char*>(data), size);
    return status;
}

status_t Message::FindString(const char* name, int32 index, const char** value) const {
    if (value == nullptr)
        return B_BAD_VALUE;
    const void* data;
    size_t size;
    status_t status = GetValue(name, B_STRING_TYPE, index, &data, &size);
    if (status == B_OK)
        *value = static_cast<const char*>(data);
    return status;
}

status_t Message::FindMessage(const char* name, int32 index, Message* message) const {
    if (message == nullptr)
        return B_BAD_VALUE;
    const void* data;
    size_t size;
    status_t status = GetValue(name, B_MESSAGE_TYPE, index, &data, &size);
    if (status == B_OK)
        *message = *FindField(name)->values[index].message;
    return status;
}

status_t Message::FindFlat(const char* name, int32 index, Flattenable* object) const {
    if (object == nullptr)
        return B_BAD_VALUE;
    const Field* field = FindField(name);
    if (field == nullptr)
        return B_NAME_NOT_FOUND;
    if (!object->AllowsTypeCode(field->type))
        return B_BAD_TYPE;
    const void* data;
    size_t size;
    status_t status = GetValue(name, field->type, index, &data, &size);
    if (status != B_OK)
        return status;
    return object->Unflatten(field->type, data, ssize_t(size));
}

// A string's data ends in a NUL that `size` does not count; a nested message's data is its
// flattened form.
status_t Message::FindData(const char* name, type_code type, int32 index, const void** data,
                           ssize_t* size) const {
    if (data == nullptr || size == nullptr)
        return B_BAD_VALUE;
    const void* found;
    size_t foundSize;
    status_t status = GetValue(name, type, index, &found, &foundSize);
    if (status == B_OK) {
        *data = found;
        *size = ssize_t(foundSize);
    }
    return status;
}

int32 Message::GetInt32(const char* name, int32 fallback) const {
    int32 value = fallback;
    FindInt32(name, &value);
    return value;
}

int64 Message::GetInt64(const char* name, int64 fallback) const {
    int64 value = fallback;
    FindInt64(name, &value);
    return value;
}

bool Message::GetBool(const char* name, bool fallback) const {
    bool value = fallback;
    FindBool(name, &value);
    return value;
}

float Message::GetFloat(const char* name, float fallback) const {
    float value = fallback;
    FindFloat(name, &value);
    return value;
}

std::string Message::GetString(const char* name, std::string_view fallback) const {
    std::string value;
    if (FindString(name, &value) != B_OK)
        return std::string(fallback);
    return value;
}

// #pragma mark - Replacing and removing

status_t Message::ReplaceInt8(const char* name, int32 index, int8 value) {
    return ReplaceValue(name, B_INT8_TYPE, index, &value, sizeof(value));
}

status_t Message::ReplaceInt32(const char* name, int32 index, int32 value) {
    return ReplaceValue(name, B_INT32_TYPE, index, &value, sizeof(value));
}

status_t Message::ReplaceInt64(const char* name, int32 index, int64 value) {
    return ReplaceValue(name, B_INT64_TYPE, index, &value, sizeof(value));
}

status_t Message::ReplaceBool(const char* name, int32 index, bool value) {
    uint8 byte = value ? 1 : 0;
    return ReplaceValue(name, B_BOOL_TYPE, index, &byte, 1);
}

status_t Message::ReplaceFloat(const char* name, int32 index, float value) {
    return ReplaceValue(name, B_FLOAT_TYPE, index, &value, sizeof(value));
}

status_t Message::ReplaceDouble(const char* name, int32 index, double value) {
    return ReplaceValue(name, B_DOUBLE_TYPE, index, &value, sizeof(value));
}

status_t Message::ReplaceString(const char* name, int32 index, std::string_view value) {
    return ReplaceValue(name, B_STRING_TYPE, index, value.data(), value.size());
}

status_t Message::ReplaceRect(const char* name, int32 index, const Rect& value) {
    return ReplaceValue(name, B_RECT_TYPE, index, &value, sizeof(value));
}

status_t Message::ReplacePoint(const char* name, int32 index, const Point& value) {
    return ReplaceValue(name, B_POINT_TYPE, index, &value, sizeof(value));
}

status_t Message::ReplacePointer(const char* name, int32 index, const void* pointer) {
    return ReplaceValue(name, B_POINTER_TYPE, index, &pointer, sizeof(pointer));
}

status_t Message::ReplaceMessage(const char* name, int32 index, const Message& message) {
    Field* field = FindField(name);
    if (field == nullptr)
        return B_NAME_NOT_FOUND;
    if (field->type != B_MESSAGE_TYPE)
        return B_BAD_TYPE;
    if (index < 0 || size_t(index) >= field->values.size())
        return B_BAD_INDEX;
    // Made before overwriting: `message` may live inside the value being replaced.
    Field::Value value;
    status_t status = Field::MakeMessageValue(message, &value);
    if (status != B_OK)
        return status;
    field->values[index] = std::move(value);
    return B_OK;
}

status_t Message::ReplaceFlat(const char* name, int32 index, const Flattenable& object) {
    ssize_t size = object.FlattenedSize();
    if (size < 0)
        return status_t(size);
    std::vector<uint8> bytes(size);
    status_t status = object.Flatten(bytes.data(), size);
    if (status != B_OK)
        return status;
    return ReplaceValue(name, object.TypeCode(), index, bytes.data(), bytes.size());
}

status_t Message::RemoveData(const char* name, int32 index) {
    Field* field = FindField(name);
    if (field == nullptr)
        return B_NAME_NOT_FOUND;
    if (index < 0 || size_t(index) >= field->values.size())
        return B_BAD_INDEX;
    field->values.erase(field->values.begin() + index);
    if (field->values.empty())
        fFields.erase(fFields.begin() + (field - fFields.data()));
    return B_OK;
}

status_t Message::RemoveName(const char* name) {
    Field* field = FindField(name);
    if (field == nullptr)
        return B_NAME_NOT_FOUND;
    fFields.erase(fFields.begin() + (field - fFields.data()));
    return B_OK;
}

void Message::MakeEmpty() {
    fFields.clear();
}

// #pragma mark - Information

bool Message::HasName(const char* name) const {
    return FindField(name) != nullptr;
}

status_t Message::GetInfo(const char* name, type_code* type, int32* count) const {
    const Field* field = FindField(name);
    if (field == nullptr)
        return B_NAME_NOT_FOUND;
    if (type != nullptr)
        *type = field->type;
    if (count != nullptr)
        *count = int32(field->values.size());
    return B_OK;
}

status_t Message::GetInfo(int32 index, std::string* name, type_code* type, int32* count) const {
    if (index < 0 || size_t(index) >= fFields.size())
        return B_BAD_INDEX;
    const Field& field = fFields[index];
    if (name != nullptr)
        *name = field.name;
    if (type != nullptr)
        *type = field.type;
    if (count != nullptr)
        *count = int32(field.values.size());
    return B_OK;
}

int32 Message::CountNames() const {
    return int32(fFields.size());
}

bool Message::IsEmpty() const {
    return fFields.empty();
}

// #pragma mark - Flattening

ssize_t Message::FlattenedSize() const {
    size_t size = kHeaderSize;
    for (const Field& field : fFields) {
        if (field.type == B_POINTER_TYPE)
            continue;
        size += 4 + field.name.size() + 4 + 4;
        for (const Field::Value& value : field.values)
            size += 4 + value.bytes.size();
    }
    return ssize_t(size);
}

status_t Message::Flatten(char* buffer, ssize_t size) const {
    ssize_t needed = FlattenedSize();
    if (buffer == nullptr || size < needed)
        return B_BAD_VALUE;
    uint32 fieldCount = 0;
    for (const Field& field : fFields)
        fieldCount += field.type != B_POINTER_TYPE ? 1 : 0;

    uint8* out = reinterpret_cast<uint8*>(buffer);
    std::memcpy(out, kMagic, sizeof(kMagic));
    out += sizeof(kMagic);
    putUint32(out, kVersion);
    putUint32(out, what);
    putUint32(out, fieldCount);
    for (const Field& field : fFields) {
        if (field.type == B_POINTER_TYPE)
            continue;
        putUint32(out, uint32(field.name.size()));
        std::memcpy(out, field.name.data(), field.name.size());
        out += field.name.size();
        putUint32(out, field.type);
        putUint32(out, uint32(field.values.size()));
        for (const Field::Value& value : field.values) {
            putUint32(out, uint32(value.bytes.size()));
            std::memcpy(out, value.bytes.data(), value.bytes.size());
            toLittleEndian(field.type, out, value.bytes.size());
            out += value.bytes.size();
        }
    }
    return B_OK;
}

status_t Message::Flatten(std::vector<uint8>* out) const {
    if (out == nullptr)
        return B_BAD_VALUE;
    out->resize(FlattenedSize());
    return Flatten(reinterpret_cast<char*>(out->data()), ssize_t(out->size()));
}

status_t Message::Field::ReadValue(type_code type, const uint8* bytes, size_t length, int depth,
                                   Value* value) {
    if (type == B_MESSAGE_TYPE) {
        Message nested;
        // Inside a message, any damage to a nested one is damage to the whole.
        if (Read(&nested, bytes, length, depth + 1) != B_OK ||
            MakeMessageValue(nested, value) != B_OK)
            return B_BAD_DATA;
        return B_OK;
    }
    if (!fitsType(type, bytes, length))
        return B_BAD_DATA;
    value->bytes.assign(reinterpret_cast<const char*>(bytes), length);
    toLittleEndian(type, reinterpret_cast<uint8*>(value->bytes.data()), length);
    return B_OK;
}

status_t Message::Field::Read(Message* message, const uint8* data, size_t size, int depth,
                              bool salvage) {
    if (depth > kMaxNesting)
        return B_BAD_DATA;
    // A wrong magic or version says "not ours"; too few bytes to tell says "damaged".
    if (std::memcmp(data, kMagic, std::min(size, sizeof(kMagic))) != 0)
        return B_BAD_VALUE;
    ByteReader reader(data, size, ByteOrder::LittleEndian);
    const uint8* magic;
    uint32 version;
    if (!reader.ReadBytes(sizeof(kMagic), &magic) || !reader.ReadUint32(&version))
        return B_BAD_DATA;
    if (version != kVersion)
        return B_BAD_VALUE;
    uint32 what;
    uint32 fieldCount;
    if (!reader.ReadUint32(&what) || !reader.ReadUint32(&fieldCount))
        return B_BAD_DATA;
    // A cut file still claims all its fields: salvaging reads as many as are there.
    if (!salvage && fieldCount > reader.Left() / kMinFieldSize)
        return B_BAD_DATA;
    message->what = what;

    std::vector<Field>& fields = message->fFields;
    // Views into `data`, which outlives the parse.
    std::unordered_set<std::string_view> names;
    // Drops what the damaged field holds of a damaged value (and the field if nothing is left).
    auto damaged = [&fields](size_t wholeValues) {
        if (!fields.empty()) {
            fields.back().values.resize(std::min(fields.back().values.size(), wholeValues));
            if (fields.back().values.empty())
                fields.pop_back();
        }
        return B_BAD_DATA;
    };
    for (uint32 i = 0; i < fieldCount; i++) {
        uint32 nameLength;
        const uint8* nameBytes;
        if (!reader.ReadUint32(&nameLength) || nameLength == 0 ||
            !reader.ReadBytes(nameLength, &nameBytes))
            return B_BAD_DATA;
        std::string_view name(reinterpret_cast<const char*>(nameBytes), nameLength);
        if (name.find('\0') != std::string_view::npos || !names.insert(name).second)
            return B_BAD_DATA;

        uint32 type;
        uint32 valueCount;
        if (!reader.ReadUint32(&type) || !reader.ReadUint32(&valueCount))
            return B_BAD_DATA;
        // Every value takes at least its 4-byte length.
        if (type == B_POINTER_TYPE || type == B_ANY_TYPE || valueCount == 0 ||
            (!salvage && valueCount > reader.Left() / 4) ||
            valueCount > uint32(std::numeric_limits<int32>::max()))
            return B_BAD_DATA;

        Field& field = fields.emplace_back();
        field.name = name;
        field.type = type;
        if (!salvage)
            field.values.reserve(valueCount);
        for (uint32 v = 0; v < valueCount; v++) {
            uint32 length;
            const uint8* bytes;
            Value& value = field.values.emplace_back();
            if (!reader.ReadUint32(&length) || !reader.ReadBytes(length, &bytes))
                return damaged(v);
            status_t status = ReadValue(type, bytes, length, depth, &value);
            if (status != B_OK) {
                damaged(v);
                return status;
            }
        }
    }
    return reader.Left() == 0 ? B_OK : B_BAD_DATA;
}

status_t Message::Unflatten(const void* data, size_t size) {
    if (data == nullptr && size > 0)
        return B_BAD_VALUE;
    if (data == nullptr)
        return B_BAD_DATA;
    Message parsed;
    status_t status = Field::Read(&parsed, static_cast<const uint8*>(data), size, 0);
    if (status != B_OK)
        return status;
    *this = std::move(parsed);
    return B_OK;
}

status_t Message::UnflattenSalvaging(const void* data, size_t size) {
    MakeEmpty();
    if (data == nullptr)
        return B_BAD_DATA;
    Message parsed;
    status_t status = Field::Read(&parsed, static_cast<const uint8*>(data), size, 0, true);
    if (status == B_BAD_VALUE)
        return status;
    *this = std::move(parsed);
    return status;
}

// #pragma mark - Dump

namespace {

template <typename T>
T load(const std::string& bytes) {
    T value;
    std::memcpy(&value, bytes.data(), sizeof(T));
    return value;
}

}  // namespace

std::string Message::ToString() const {
    std::string text = "Message(" + describeCode(what) + ") {\n";
    for (const Field& field : fFields) {
        text += "  " + field.name + " " + describeCode(field.type) + ":";
        for (const Field::Value& value : field.values) {
            const std::string& bytes = value.bytes;
            // Wide enough for four floats in %g.
            char number[96];
            switch (field.type) {
                case B_INT8_TYPE:
                    std::snprintf(number, sizeof(number), "%d", int(int8(bytes[0])));
                    break;
                case B_BOOL_TYPE:
                    std::snprintf(number, sizeof(number), "%s", bytes[0] ? "true" : "false");
                    break;
                case B_INT32_TYPE:
                    std::snprintf(number, sizeof(number), "%" PRId32, load<int32>(bytes));
                    break;
                case B_INT64_TYPE:
                    std::snprintf(number, sizeof(number), "%" PRId64, load<int64>(bytes));
                    break;
                case B_FLOAT_TYPE:
                    std::snprintf(number, sizeof(number), "%.9g", double(load<float>(bytes)));
                    break;
                case B_DOUBLE_TYPE:
                    std::snprintf(number, sizeof(number), "%.17g", load<double>(bytes));
                    break;
                case B_POINT_TYPE: {
                    Point p = load<Point>(bytes);
                    std::snprintf(number, sizeof(number), "(%g, %g)", double(p.x), double(p.y));
                    break;
                }
                case B_RECT_TYPE: {
                    Rect r = load<Rect>(bytes);
                    std::snprintf(number, sizeof(number), "(%g, %g, %g, %g)", double(r.left),
                                  double(r.top), double(r.right), double(r.bottom));
                    break;
                }
                case B_POINTER_TYPE:
                    std::snprintf(number, sizeof(number), "%p", load<void*>(bytes));
                    break;
                case B_STRING_TYPE:
                    std::snprintf(number, sizeof(number), "\"%.*s\"",
                                  int(std::min<size_t>(bytes.size(), 64)), bytes.c_str());
                    break;
                case B_MESSAGE_TYPE:
                    std::snprintf(number, sizeof(number), "Message(%s, %" PRId32 " fields)",
                                  describeCode(value.message->what).c_str(),
                                  value.message->CountNames());
                    break;
                default:
                    std::snprintf(number, sizeof(number), "<%zu bytes>", bytes.size());
                    break;
            }
            text += " ";
            text += number;
        }
        text += "\n";
    }
    return text + "}";
}
