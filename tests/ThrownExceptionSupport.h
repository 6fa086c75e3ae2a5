#pragma once
// What a call threw, as the library's exception class E reports it: message,
// the member named as the thrower and the type code; a marker when it threw
// something else (code -1) or nothing (code -2).

#include <exception>
#include <string>

struct Thrown {
  std::string message;
  std::string function;
  int code = 0;
};

template <class E, class F>
Thrown thrownAs(F&& f) {
  try {
    f();
  } catch (const E& e) {
    return {e.getExceptionMessage(), e.getExceptionLocationFunctionName(), e.getExceptionTypeByNumericCode()};
  } catch (const std::exception& e) {
    return {std::string("<other exception> ") + e.what(), "", -1};
  }
  return {"<no exception>", "", -2};
}
