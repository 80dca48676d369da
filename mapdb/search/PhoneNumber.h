// Telephone numbers typed as digits, turned into the keys the searches look up (through the
// library's own key rules), refusing every number no search could find.
#pragma once

#include <cstdint>
#include <string>

#include "search/PhoneKey.h"

namespace mapdb {

using PhoneKeyRule = phone_key::Key (*)(const unsigned char*);

// The key of `number` under `rule` (phone_key::Directory or phone_key::Area). Throws Error,
// naming `what` and the number, on anything but 1 to 12 digits, a number the rule refuses, or
// one whose value does not fit the 32-bit key.
uint32_t CheckedPhoneKey(const std::string& number, PhoneKeyRule rule, const std::string& what);

}  // namespace mapdb
