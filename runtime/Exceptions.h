#pragma once

#include <cstdint>
#include <exception>
#include <vector>

#include "runtime/Text.h"

namespace zeb {

// Root of every exception the runtime and the program raise.
class RuntimeException : public std::exception {
 public:
  RuntimeException();
  explicit RuntimeException(String message);

  std::int32_t ErrorNumber() const noexcept { return errorNumber_; }
  void ErrorNumber(std::int32_t value) noexcept { errorNumber_ = value; }
  const String& Message() const noexcept { return message_; }
  void Message(String value) { message_ = std::move(value); }

  // The call stack at the raise, innermost frame first.
  std::vector<String> Stack() const;

  virtual const char* ClassName() const noexcept { return "RuntimeException"; }
  const char* what() const noexcept override { return message_.c_str(); }

 private:
  std::int32_t errorNumber_ = 0;
  String message_;
  std::vector<void*> frames_;
};

// NOLINTBEGIN(bugprone-macro-parentheses): a class name cannot stand in parentheses
#define ZEB_RUNTIME_EXCEPTION(Name)                                   \
  class Name : public RuntimeException {                              \
   public:                                                            \
    using RuntimeException::RuntimeException;                         \
    const char* ClassName() const noexcept override { return #Name; } \
  }
// NOLINTEND(bugprone-macro-parentheses)

ZEB_RUNTIME_EXCEPTION(EndException);
ZEB_RUNTIME_EXCEPTION(FunctionNotFoundException);
ZEB_RUNTIME_EXCEPTION(TypeMismatchException);
ZEB_RUNTIME_EXCEPTION(OutOfBoundsException);
ZEB_RUNTIME_EXCEPTION(OutOfMemoryException);
ZEB_RUNTIME_EXCEPTION(ServiceNotAvailableException);
ZEB_RUNTIME_EXCEPTION(StackOverflowException);
ZEB_RUNTIME_EXCEPTION(UnsupportedFormatException);
ZEB_RUNTIME_EXCEPTION(ThreadEndException);
ZEB_RUNTIME_EXCEPTION(ThreadAlreadyRunningException);
ZEB_RUNTIME_EXCEPTION(NilObjectException);
ZEB_RUNTIME_EXCEPTION(IllegalCastException);

#undef ZEB_RUNTIME_EXCEPTION

[[noreturn]] void RuntimeRaiseFunctionNotFoundException(const String& function,
                                                        const String& library);

// The object behind `pointer`, or NilObjectException when there is none.
template <typename Pointer>
decltype(auto) NilChecked(Pointer&& pointer) {
  if (pointer == nullptr) {
    throw NilObjectException();
  }
  return std::forward<Pointer>(pointer);
}

}  // namespace zeb
