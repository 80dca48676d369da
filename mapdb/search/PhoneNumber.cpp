// Typed telephone numbers to checked keys.
#include "PhoneNumber.h"

#include <cstring>

#include "ByteWriter.h"

namespace mapdb {

uint32_t CheckedPhoneKey(const std::string& number, PhoneKeyRule rule, const std::string& what) {
    const std::string field = what + ": number \"" + number + "\" ";
    if (number.empty() || number.size() > phone_key::kDigits ||
        number.find_first_not_of("0123456789") != std::string::npos) {
        throw Error(field + "is not 1 to 12 digits");
    }
    unsigned char typed[phone_key::kDigits + 1] = {};
    memcpy(typed, number.data(), number.size());
    const phone_key::Key key = rule(typed);
    if (!key.accepted) throw Error(field + "is never looked up (refused by the key rules)");
    // The exact value: the first three digits through the rule (which may fold them), then the
    // rest. A key that wrapped past 32 bits differs from it.
    uint64_t exact = key.value;
    if (number.size() > 3) {
        unsigned char head[phone_key::kDigits + 1] = {};
        memcpy(head, typed, 3);
        exact = rule(head).value;
        for (size_t i = 3; i < number.size(); ++i) exact = exact * 10 + (number[i] - '0');
    }
    if (exact != key.value) throw Error(field + "does not fit a 32-bit key");
    return key.value;
}

}  // namespace mapdb
