#pragma once

namespace quelto::platform {

/// Opens one of our modules in the bundle and returns its entry function; null when the module or a library
/// that it needs is not installed. A module stays open until the process ends. Thread-safe.
[[nodiscard]] void* moduleEntry(const char* fileName, const char* entryName);

/// The same with the type that the entry function is declared with.
template <typename Function>
[[nodiscard]] Function* moduleFunction(const char* fileName, const char* entryName) {
  return reinterpret_cast<Function*>(moduleEntry(fileName, entryName));
}

/// The service that the module's entry function returns, which lives as long as the process; null when the
/// module cannot be opened. The entry function must be declared to return a `Service*`.
template <typename Service>
[[nodiscard]] Service* moduleService(const char* fileName, const char* entryName) {
  auto* const entry = moduleFunction<Service*()>(fileName, entryName);
  return entry != nullptr ? entry() : nullptr;
}

}  // namespace quelto::platform
