#pragma once

#include <cstdint>
#include <memory>

#include "runtime/FileType.h"

namespace zeb {

// The whole process: start-up, the Run event, shutdown. Returns the exit status.
std::int32_t RunAgent(int argc, const char* const* argv);

// The program's file type set: "text", registered at start-up, released at shutdown.
namespace FileTypes {
extern std::unique_ptr<FileType> pText;
}  // namespace FileTypes

}  // namespace zeb
