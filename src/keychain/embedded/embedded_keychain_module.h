#pragma once

#include "keychain/item_store.h"

/// The module's one entry: the embedded keychain in this folder (an absolute path), the same for each call
/// with the same text. It lives as long as the process. Null when there is no memory. Thread-safe.
extern "C" [[gnu::visibility("default")]] quelto::keychain::ItemStore* queltoEmbeddedKeychain(
    const char* folder);
