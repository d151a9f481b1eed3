#include "runtime/FileType.h"

#include <algorithm>

namespace zeb {

void FileType::Name(String value) {
  Deregister();
  name_ = std::move(value);
}

void FileType::MacCreator(String value) {
  Deregister();
  macCreator_ = std::move(value);
}

void FileType::MacType(String value) {
  Deregister();
  macType_ = std::move(value);
}

void FileType::Extensions(String value) {
  Deregister();
  extensions_ = std::move(value);
}

void FileType::Register() {
  if (!registered_) {
    RuntimeRegisterFileType(name_, macCreator_, macType_, extensions_);
    registered_ = true;
  }
}

void FileType::Deregister() noexcept {
  if (registered_) {
    RuntimeDeregisterFileType(name_);
    registered_ = false;
  }
}

FileType::operator String() {
  Register();
  return name_;
}

std::vector<FileTypeRecord>& RuntimeFileTypes() noexcept {
  static std::vector<FileTypeRecord> registered;
  return registered;
}

void RuntimeRegisterFileType(const String& name, const String& macCreator, const String& macType,
                             const String& extensions) {
  RuntimeFileTypes().push_back({name, macCreator, macType, extensions});
}

void RuntimeDeregisterFileType(const String& name) noexcept {
  std::erase_if(RuntimeFileTypes(), [&](const FileTypeRecord& type) { return type.name == name; });
}

}  // namespace zeb
