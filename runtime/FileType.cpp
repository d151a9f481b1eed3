#include "runtime/FileType.h"

#include "runtime/FileTypeRegistry.h"

namespace zeb {

FileType::~FileType() { Deregister(); }

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

}  // namespace zeb
