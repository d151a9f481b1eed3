#include "runtime/FileTypeRegistry.h"

#include <algorithm>

namespace zeb {

namespace {

FileTypeRegistry registry;

}  // namespace

void RuntimeRegisterFileType(const String& name, const String& macCreator, const String& macType,
                             const String& extensions) {
  registry.entries.push_back({name, macCreator, macType, extensions});
  ++registry.registrations;
}

void RuntimeDeregisterFileType(const String& name) noexcept {
  std::erase_if(registry.entries, [&](const FileTypeRecord& entry) { return entry.name == name; });
  ++registry.withdrawals;
}

FileTypeRegistry& RuntimeFileTypes() noexcept { return registry; }

}  // namespace zeb
