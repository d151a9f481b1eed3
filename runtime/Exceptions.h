#pragma once

// The exceptions the runtime and the program raise. The program sets no message of its own;
// the runtime's messages only feed the one-line report of an unhandled exception.

#include <exception>
#include <utility>

#include "runtime/Text.h"

namespace zeb {

class RuntimeException : public std::exception {
 public:
  RuntimeException() = default;
  explicit RuntimeException(String message) : message_(std::move(message)) {}

  const String& Message() const noexcept { return message_; }
  virtual const char* ClassName() const noexcept { return "RuntimeException"; }
  const char* what() const noexcept override { return message_.c_str(); }

 private:
  String message_;
};

// NOLINTBEGIN(bugprone-macro-parentheses): a class name cannot stand in parentheses
#define ZEB_RUNTIME_EXCEPTION(Name)                                   \
  class Name : public RuntimeException {                              \
   public:                                                            \
    using RuntimeException::RuntimeException;                         \
    const char* ClassName() const noexcept override { return #Name; } \
  }
// NOLINTEND(bugprone-macro-parentheses)

ZEB_RUNTIME_EXCEPTION(NilObjectException);
ZEB_RUNTIME_EXCEPTION(FunctionNotFoundException);

#undef ZEB_RUNTIME_EXCEPTION

[[noreturn]] inline void RuntimeRaiseFunctionNotFoundException(std::string_view function,
                                                               std::string_view library) {
  throw FunctionNotFoundException(
      String("function ").append(function).append(" not found in ").append(library));
}

// `pointer` itself, or NilObjectException when it is null. A temporary comes back by value, so
// that a reference bound to the result outlives the expression; a named pointer by reference.
template <typename Pointer>
Pointer NilChecked(Pointer&& pointer) {
  if (pointer == nullptr) {
    throw NilObjectException();
  }
  return std::forward<Pointer>(pointer);
}

}  // namespace zeb
