#pragma once

#include "runtime/Text.h"

namespace zeb {

// A file type known to the runtime. Any change withdraws it first; converting it to a String
// registers it; destroying it withdraws it.
class FileType {
 public:
  FileType() = default;
  FileType(const FileType&) = delete;
  FileType& operator=(const FileType&) = delete;
  FileType(FileType&&) = delete;
  FileType& operator=(FileType&&) = delete;
  ~FileType();

  const String& Name() const noexcept { return name_; }
  void Name(String value);
  const String& MacCreator() const noexcept { return macCreator_; }
  void MacCreator(String value);
  const String& MacType() const noexcept { return macType_; }
  void MacType(String value);
  const String& Extensions() const noexcept { return extensions_; }
  void Extensions(String value);

  void Register();
  void Deregister() noexcept;

  // Registers the type and yields its name.
  explicit operator String();

 private:
  String name_;
  String macCreator_;
  String macType_;
  String extensions_;
  bool registered_ = false;
};

}  // namespace zeb
