#include "runtime/FolderItem.h"

namespace zeb {

String FolderItem::Name() const {
  const auto end = path_.find_last_not_of('/');
  if (end == String::npos) {
    return {};
  }
  const auto slash = path_.rfind('/', end);
  const auto start = slash == String::npos ? 0 : slash + 1;
  return path_.substr(start, end + 1 - start);
}

}  // namespace zeb
