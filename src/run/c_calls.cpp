// The calls of torve.h on the one run state. Nothing is thrown across this border.
#include <algorithm>
#include <cstring>
#include <exception>
#include <new>
#include <span>
#include <string>
#include <string_view>

#include "run/call_names.h"
#include "run/get_calls.h"
#include "run/set_calls.h"
#include "run/torve.h"
#include "run/trvrun.h"

namespace {

using torve::Code;
using torve::TRVSPACE;

constexpr int place_of_memory = 442;

int result_of(Code code, int location) {
  return torve::refuse(TRVSPACE, code, location);
}

// The result of `call`; a want of memory in it is a result as well.
template <class Call>
int guarded(Call call) {
  try {
    return call();
  } catch (const std::exception&) {
    return result_of(Code::out_of_memory, place_of_memory);
  }
}

// A text up to its zero byte, of which no more is looked at than decides.
std::string_view text_at(const char* text) {
  if (text == nullptr) return {};
  return {text, strnlen(text, torve::longest_call_text + 1)};
}

template <class T, class Set>
int set_vector(int length, const T* values, Set set) {
  if (length < 0 || (length > 0 && values == nullptr)) {
    return result_of(Code::vector_length, 455);
  }
  return guarded([&] { return set(std::span<const T>(values, static_cast<std::size_t>(length))); });
}

}  // namespace

int trvsetint(const char* name, const int* value) {
  if (value == nullptr) return result_of(Code::bad_value, 193);
  return guarded([&] { return torve::trvsetint(TRVSPACE, text_at(name), *value); });
}

int trvsetreal(const char* name, const double* value) {
  if (value == nullptr) return result_of(Code::bad_value, 193);
  return guarded([&] { return torve::trvsetreal(TRVSPACE, text_at(name), *value); });
}

int trvsetstring(const char* name, const char* value) {
  return guarded([&] { return torve::trvsetstring(TRVSPACE, text_at(name), text_at(value)); });
}

int trvsetintvector(const char* name, int length, const int* values) {
  return set_vector(length, values, [&](std::span<const int> all) {
    return torve::trvsetintvector(TRVSPACE, text_at(name), all);
  });
}

int trvsetrealvector(const char* name, int length, const double* values) {
  return set_vector(length, values, [&](std::span<const double> all) {
    return torve::trvsetrealvector(TRVSPACE, text_at(name), all);
  });
}

int trvsetlabels(const char* name, int length, const char* labels) {
  const std::string_view text = labels == nullptr ? std::string_view() : std::string_view(labels);
  return guarded([&] { return torve::trvsetlabels(TRVSPACE, text_at(name), length, text); });
}

void trvrun() {
  if (TRVSPACE.status.runstarted) {
    torve::fail(TRVSPACE, Code::not_initialised, 472);
    return;
  }
  try {
    torve::trvrun(TRVSPACE);
  } catch (const std::exception&) {
    torve::fail(TRVSPACE, Code::out_of_memory, 53);
  }
}

int trvinit() {
  return guarded([] { return torve::trvinit(); });
}

int trvgetstatus() {
  return torve::trvgetstatus(TRVSPACE);
}

double trvgettime() {
  return torve::trvgettime(TRVSPACE);
}

int trvgetversion(int* year, int* month, int* day) {
  const torve::Version version = torve::trvgetversion();
  if (year != nullptr) *year = version.year;
  if (month != nullptr) *month = version.month;
  if (day != nullptr) *day = version.day;
  return 0;
}

int trvgetmodellength(int output, int* length) {
  return guarded([&] {
    std::string text;
    if (const int result = torve::trvgetmodel(TRVSPACE, output, text); result != 0) return result;
    if (length != nullptr) *length = static_cast<int>(text.size());
    return 0;
  });
}

int trvgetmodel(int output, char* text, int length) {
  return guarded([&] {
    std::string model;
    if (const int result = torve::trvgetmodel(TRVSPACE, output, model); result != 0) return result;
    const std::size_t needed = model.size() + 1;
    if (text == nullptr || length < 0 || static_cast<std::size_t>(length) < needed) {
      return result_of(Code::model_text_length, 471);
    }
    std::memcpy(text, model.c_str(), needed);
    return 0;
  });
}
