#pragma once

#include <vector>

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
  ~FileType() { Deregister(); }

  void Name(String value);
  void MacCreator(String value);
  void MacType(String value);
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

// The runtime's registered file types: name, creator, type, extensions.
struct FileTypeRecord {
  String name;
  String macCreator;
  String macType;
  String extensions;

  bool operator==(const FileTypeRecord&) const = default;
};

std::vector<FileTypeRecord>& RuntimeFileTypes() noexcept;
void RuntimeRegisterFileType(const String& name, const String& macCreator, const String& macType,
                             const String& extensions);
void RuntimeDeregisterFileType(const String& name) noexcept;

}  // namespace zeb
