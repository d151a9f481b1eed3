#pragma once

#include <vector>

#include "runtime/Text.h"

namespace zeb {

struct FileTypeRecord {
  String name;
  String macCreator;
  String macType;
  String extensions;

  bool operator==(const FileTypeRecord&) const = default;
};

// The runtime's file types. The program registers one and never looks it up again, so the
// registry only records what is registered and how often it was asked to change.
struct FileTypeRegistry {
  std::vector<FileTypeRecord> entries;
  int registrations = 0;
  int withdrawals = 0;
};

void RuntimeRegisterFileType(const String& name, const String& macCreator, const String& macType,
                             const String& extensions);
void RuntimeDeregisterFileType(const String& name) noexcept;

FileTypeRegistry& RuntimeFileTypes() noexcept;

}  // namespace zeb
