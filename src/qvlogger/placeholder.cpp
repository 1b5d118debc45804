// Placeholder until the logging layer lands: just enough for libzelutil to link.
#include <cstdlib>
#include <cstring>
#include <string>

#include "qvlogger/qvlogger.h"

namespace Log {

Logger::~Logger() = default;
LogManager::~LogManager() = default;

LogManager* QvLogManager::initialize(const std::string&, const std::string&, const std::string&,
                                     int, const std::string&) {
  return nullptr;
}

const char* QvMsg::format(const char** catalogue, int number, const char*) {
  if (catalogue == nullptr || catalogue[0] == nullptr) return nullptr;
  const char* space = std::strchr(catalogue[0], ' ');
  const int count = space != nullptr ? std::atoi(space + 1) : 0;
  return number >= 1 && number <= count ? catalogue[number] : NOT_FOUND;
}

const char* QvMsg::format(const char* format, const qvPrintfArgVal* values) {
  thread_local std::string out;
  out.clear();
  for (const char* p = format; *p != '\0'; ++p) {
    if (p[0] == '%' && (p[1] == 's' || p[1] == 'd') && values->kind != qvPrintfArgVal::END) {
      out += values->kind == qvPrintfArgVal::TEXT ? std::string(values->text)
                                                  : std::to_string(values->integer);
      ++values;
      ++p;
    } else {
      out += *p;
    }
  }
  return out.c_str();
}

void QvMsg::set_catalogue_directory(const std::string&) {}

}  // namespace Log
