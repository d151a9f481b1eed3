#pragma once

#include <memory>

#include "runtime/FileType.h"

// The program's file type set.
namespace zeb::FileTypes {

extern std::unique_ptr<FileType> pText;

namespace internal {

// Creates pText and registers it.
void Initialize();
// The exit routine of pText: releases and clears it.
void pTextExit() noexcept;

}  // namespace internal

}  // namespace zeb::FileTypes
