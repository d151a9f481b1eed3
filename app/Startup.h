#pragma once

#include <cstdint>

namespace zeb {

// The whole process: start-up, the Run event, shutdown. Returns the exit status.
std::int32_t RunAgent(int argc, const char* const* argv);

namespace internal {

// The start-up body; any exception it lets out goes to the unhandled-exception report.
void Main();

}  // namespace internal

// Releases the program's module-level objects.
void finalize() noexcept;

}  // namespace zeb
