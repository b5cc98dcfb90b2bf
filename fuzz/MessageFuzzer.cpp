// Feeds arbitrary bytes to Message::Unflatten. Whatever it accepts must flatten back to the
// very same bytes (the flattened form has one spelling per message) and read back again.

#include <cstdlib>
#include <cstring>
#include <vector>

#include "support/Message.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Message message;
    if (message.Unflatten(data, size) != B_OK)
        return 0;

    std::vector<uint8> flat;
    if (message.Flatten(&flat) != B_OK || flat.size() != size ||
        std::memcmp(flat.data(), data, size) != 0)
        std::abort();
    Message again;
    if (again.Unflatten(flat.data(), flat.size()) != B_OK)
        std::abort();
    std::vector<uint8> flatAgain;
    if (again.Flatten(&flatAgain) != B_OK || flatAgain != flat)
        std::abort();

    // Reading every field back must stay within the message too.
    for (int32 i = 0; i < message.CountNames(); i++) {
        std::string name;
        type_code type;
        int32 count;
        if (message.GetInfo(i, &name, &type, &count) != B_OK)
            std::abort();
        for (int32 j = 0; j < count; j++) {
            const void* value;
            ssize_t valueSize;
            if (message.FindData(name.c_str(), type, j, &value, &valueSize) != B_OK)
                std::abort();
            if (type == B_MESSAGE_TYPE) {
                Message nested;
                if (message.FindMessage(name.c_str(), j, &nested) != B_OK)
                    std::abort();
            }
        }
    }
    (void)message.ToString();
    return 0;
}
