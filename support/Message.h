#pragma once
// Message: a `what` code and named fields in insertion order. Each field has one type and one
// or more values ("format" repeats in the settings file). Messages travel between threads by
// PostMessage (see MessageTarget) and are stored flattened in files (see Flatten).

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "support/Flattenable.h"
#include "support/Geometry.h"
#include "support/Status.h"
#include "support/Types.h"

// Field type codes. The values are those of the classic message format, so a flattened
// message names its types the same way on every machine.
constexpr type_code B_ANY_TYPE = fourcc("ANYT");
constexpr type_code B_INT8_TYPE = fourcc("BYTE");
constexpr type_code B_INT32_TYPE = fourcc("LONG");
constexpr type_code B_INT64_TYPE = fourcc("LLNG");
constexpr type_code B_BOOL_TYPE = fourcc("BOOL");
constexpr type_code B_FLOAT_TYPE = fourcc("FLOT");
constexpr type_code B_DOUBLE_TYPE = fourcc("DBLE");
constexpr type_code B_STRING_TYPE = fourcc("CSTR");
constexpr type_code B_RECT_TYPE = fourcc("RECT");
constexpr type_code B_POINT_TYPE = fourcc("BPNT");
constexpr type_code B_POINTER_TYPE = fourcc("PNTR");
constexpr type_code B_MESSAGE_TYPE = fourcc("MSGG");
constexpr type_code B_RAW_TYPE = fourcc("RAWT");

class Message {
public:
    Message();
    explicit Message(uint32 what);
    Message(const Message& other);
    Message(Message&& other) noexcept;
    Message& operator=(const Message& other);
    Message& operator=(Message&& other) noexcept;
    ~Message();

    uint32 what = 0;

    // Adding appends one value to the field `name`, creating it. A field keeps the type of its
    // first value: adding a value of another type returns B_BAD_TYPE and changes nothing.
    status_t AddInt8(const char* name, int8 value);
    status_t AddInt32(const char* name, int32 value);
    status_t AddInt64(const char* name, int64 value);
    status_t AddBool(const char* name, bool value);
    status_t AddFloat(const char* name, float value);
    status_t AddDouble(const char* name, double value);
    status_t AddString(const char* name, std::string_view value);
    status_t AddRect(const char* name, const Rect& value);
    status_t AddPoint(const char* name, const Point& value);
    // In-process only: a message holding pointers flattens without those fields.
    status_t AddPointer(const char* name, const void* pointer);
    status_t AddMessage(const char* name, const Message& message);
    // Stores object.Flatten() under object.TypeCode().
    status_t AddFlat(const char* name, const Flattenable& object);
    status_t AddData(const char* name, type_code type, const void* data, ssize_t size);

    // Finding reads value `index` of field `name`. Errors: B_NAME_NOT_FOUND (no such field),
    // B_BAD_TYPE (the field has another type), B_BAD_INDEX (fewer values). The output is left
    // untouched on error.
    status_t FindInt8(const char* name, int32 index, int8* value) const;
    status_t FindInt32(const char* name, int32 index, int32* value) const;
    status_t FindInt64(const char* name, int32 index, int64* value) const;
    status_t FindBool(const char* name, int32 index, bool* value) const;
    status_t FindFloat(const char* name, int32 index, float* value) const;
    status_t FindDouble(const char* name, int32 index, double* value) const;
    status_t FindString(const char* name, int32 index, std::string* value) const;
    // The returned pointer stays valid while the field is neither changed nor removed.
    status_t FindString(const char* name, int32 index, const char** value) const;
    status_t FindRect(const char* name, int32 index, Rect* value) const;
    status_t FindPoint(const char* name, int32 index, Point* value) const;
    status_t FindPointer(const char* name, int32 index, void** pointer) const;
    status_t FindMessage(const char* name, int32 index, Message* message) const;
    // Unflattens value `index` into `object` when object.AllowsTypeCode() accepts the field's
    // type; returns B_BAD_TYPE otherwise, or the object's own Unflatten error.
    status_t FindFlat(const char* name, int32 index, Flattenable* object) const;
    // Any field type; `data` points into the message.
    status_t FindData(const char* name, type_code type, int32 index, const void** data,
                      ssize_t* size) const;

    status_t FindInt8(const char* name, int8* value) const { return FindInt8(name, 0, value); }
    status_t FindInt32(const char* name, int32* value) const { return FindInt32(name, 0, value); }
    status_t FindInt64(const char* name, int64* value) const { return FindInt64(name, 0, value); }
    status_t FindBool(const char* name, bool* value) const { return FindBool(name, 0, value); }
    status_t FindFloat(const char* name, float* value) const { return FindFloat(name, 0, value); }
    status_t FindDouble(const char* name, double* value) const {
        return FindDouble(name, 0, value);
    }
    status_t FindString(const char* name, std::string* value) const {
        return FindString(name, 0, value);
    }
    status_t FindString(const char* name, const char** value) const {
        return FindString(name, 0, value);
    }
    status_t FindRect(const char* name, Rect* value) const { return FindRect(name, 0, value); }
    status_t FindPoint(const char* name, Point* value) const { return FindPoint(name, 0, value); }
    status_t FindPointer(const char* name, void** pointer) const {
        return FindPointer(name, 0, pointer);
    }
    status_t FindMessage(const char* name, Message* message) const {
        return FindMessage(name, 0, message);
    }
    status_t FindFlat(const char* name, Flattenable* object) const {
        return FindFlat(name, 0, object);
    }

    // Convenience reads with a fallback for a missing or mistyped field.
    int32 GetInt32(const char* name, int32 fallback) const;
    int64 GetInt64(const char* name, int64 fallback) const;
    bool GetBool(const char* name, bool fallback) const;
    float GetFloat(const char* name, float fallback) const;
    std::string GetString(const char* name, std::string_view fallback) const;

    // Replacing overwrites value `index` of an existing field of the same type.
    status_t ReplaceInt8(const char* name, int32 index, int8 value);
    status_t ReplaceInt32(const char* name, int32 index, int32 value);
    status_t ReplaceInt64(const char* name, int32 index, int64 value);
    status_t ReplaceBool(const char* name, int32 index, bool value);
    status_t ReplaceFloat(const char* name, int32 index, float value);
    status_t ReplaceDouble(const char* name, int32 index, double value);
    status_t ReplaceString(const char* name, int32 index, std::string_view value);
    status_t ReplaceRect(const char* name, int32 index, const Rect& value);
    status_t ReplacePoint(const char* name, int32 index, const Point& value);
    status_t ReplacePointer(const char* name, int32 index, const void* pointer);
    status_t ReplaceMessage(const char* name, int32 index, const Message& message);
    status_t ReplaceFlat(const char* name, int32 index, const Flattenable& object);
    status_t ReplaceInt32(const char* name, int32 value) { return ReplaceInt32(name, 0, value); }
    status_t ReplaceInt64(const char* name, int64 value) { return ReplaceInt64(name, 0, value); }
    status_t ReplaceBool(const char* name, bool value) { return ReplaceBool(name, 0, value); }
    status_t ReplaceString(const char* name, std::string_view value) {
        return ReplaceString(name, 0, value);
    }

    // Removes one value (the field goes when its last value goes) or the whole field.
    status_t RemoveData(const char* name, int32 index = 0);
    status_t RemoveName(const char* name);
    void MakeEmpty();

    bool HasName(const char* name) const;
    // Type and number of values of field `name`; B_NAME_NOT_FOUND when absent.
    status_t GetInfo(const char* name, type_code* type, int32* count) const;
    // The field at position `index` in insertion order.
    status_t GetInfo(int32 index, std::string* name, type_code* type, int32* count) const;
    int32 CountNames() const;
    bool IsEmpty() const;

    // Flattened form (little-endian, documented in Message.cpp and ARCHITECTURE.md): a magic,
    // a version, `what`, then every field but pointers with its name, type and values.
    ssize_t FlattenedSize() const;
    status_t Flatten(char* buffer, ssize_t size) const;
    status_t Flatten(std::vector<uint8>* out) const;
    // Checks every read against `size`: truncated, corrupted or hostile data gives B_BAD_DATA
    // (or B_BAD_VALUE for a wrong magic or version) and leaves this message unchanged.
    status_t Unflatten(const void* data, size_t size);
    // For stored data that should survive damage: as Unflatten, but a damaged form (cut,
    // overwritten, with bytes appended) leaves this message with every field and value read
    // whole before the damage, and returns B_BAD_DATA. B_BAD_VALUE (wrong magic or version)
    // leaves it empty.
    status_t UnflattenSalvaging(const void* data, size_t size);

    // A one-line-per-field dump for logs and test failures.
    std::string ToString() const;

private:
    struct Field;
    std::vector<Field> fFields;

    Field* FindField(const char* name);
    const Field* FindField(const char* name) const;
    status_t AddValue(const char* name, type_code type, const void* data, size_t size);
    status_t GetValue(const char* name, type_code type, int32 index, const void** data,
                      size_t* size) const;
    status_t ReplaceValue(const char* name, type_code type, int32 index, const void* data,
                          size_t size);
};
