#pragma once

#include <cstdint>
#include <exception>
#include <memory>
#include <vector>

#include "runtime/ConsoleApplication.h"
#include "runtime/Exceptions.h"

namespace zeb {

inline constexpr std::int32_t kUnhandledExceptionStatus = 1;

// Brings the runtime to its starting state: no application object, exit status 0, the
// command-line arguments kept for the Run event.
void RuntimeInit(int argc, const char* const* argv);

std::vector<void*>& RuntimeAllocatePluginEntrypointsTable(std::size_t entries);

// The registration owns `app` for the rest of the run.
void RuntimeRegisterConsoleAppObject(std::shared_ptr<ConsoleApplication> app, bool option);

// The registered application object, or null. Safe in signal context: it neither allocates
// nor locks nor touches a reference count.
ConsoleApplication* getAppObject() noexcept;

// Raises the registered object's Run event and keeps its result as the exit status.
void RuntimeRun();

// Reports an exception that no code caught and makes the exit status non-zero.
void RuntimeUnhandledException(const RuntimeException& error);

std::int32_t RuntimeExit();

// The report line: the exception's class and its message.
String UnhandledExceptionLine(const RuntimeException& error);

namespace internal {

// Hands whatever was thrown to the runtime as a RuntimeException.
void UnhandledException(const std::exception_ptr& thrown);

}  // namespace internal

}  // namespace zeb
