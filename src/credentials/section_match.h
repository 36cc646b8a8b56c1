#pragma once

#include "ini/ini_parser.h"
#include "items/item_records.h"

namespace quelto::credentials {

/// Whether a section of the password file is of the record's kind and has all of its fields, label,
/// description and comment aside. Texts are the same when they are canonically equivalent; a key that is
/// missing is the empty text. A port or code of 0 matches any; others only what can be read as one.
/// Thread-safe.
[[nodiscard]] bool matches(const ini::IniSection& section, const items::SecPasswordStruct& record);

}  // namespace quelto::credentials
