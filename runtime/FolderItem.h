#pragma once

#include "runtime/Text.h"

namespace zeb {

class FolderItem {
 public:
  explicit FolderItem(String path) : path_(std::move(path)) {}

  const String& Path() const noexcept { return path_; }
  // The last component of the path, without any folder part.
  String Name() const;

 private:
  String path_;
};

}  // namespace zeb
