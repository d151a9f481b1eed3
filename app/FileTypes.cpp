#include "app/FileTypes.h"

namespace zeb::FileTypes {

std::unique_ptr<FileType> pText;

namespace internal {

void Initialize() {
  pText = std::make_unique<FileType>();
  pText->Name("text");
  pText->Extensions("");
  pText->MacType("TEXT");
  pText->MacCreator("R*ch");
  // Converting the type to a String is what registers it.
  static_cast<void>(static_cast<String>(*pText));
}

void pTextExit() noexcept { pText.reset(); }

}  // namespace internal

}  // namespace zeb::FileTypes
