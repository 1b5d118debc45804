// catalogue.cpp - message texts by number: the compiled-in catalogue arrays and
// the translated catalogue files that override them.
//
// A translated file is read once, on the first lookup that wants it, and kept
// for the life of the process: callers hold on to the texts they were given.
// A file that is missing, unreadable or malformed counts as no translation.

#include <atomic>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "qvlogger/qvlogger.h"
#include "strings/detail/annotated_mutex.h"
#include "zel/thread_annotations.h"

namespace Log {
namespace {

// Splits a header "<name> <count>" (spaces around the count are allowed, as is
// the '\r' of a file written on another system). False when it does not parse.
bool parse_header(std::string_view header, std::string_view* name, int* count) {
  const std::size_t space = header.find(' ');
  if (space == 0 || space == std::string_view::npos) return false;
  *name = header.substr(0, space);
  std::size_t i = space;
  while (i < header.size() && header[i] == ' ') ++i;
  const std::size_t digits = i;
  long long value = 0;
  for (; i < header.size() && header[i] >= '0' && header[i] <= '9'; ++i) {
    value = value * 10 + (header[i] - '0');
    if (value > 1000000000) return false;
  }
  if (i == digits) return false;
  for (; i < header.size(); ++i) {
    if (header[i] != ' ' && header[i] != '\t' && header[i] != '\r') return false;
  }
  *count = static_cast<int>(value);
  return true;
}

// The texts of one translated catalogue file; an empty text is a message the
// translator left out.
struct Translation {
  std::vector<std::string> texts;  // message n is texts[n - 1]
};

std::unique_ptr<Translation> load_translation(const std::string& path, std::string_view name) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return nullptr;
  std::string line;
  if (!std::getline(file, line)) return nullptr;
  std::string_view file_name;
  int count = 0;
  // A file of another catalogue, dropped in the wrong place, is no translation.
  if (!parse_header(line, &file_name, &count) || file_name != name) return nullptr;
  auto translation = std::make_unique<Translation>();
  while (static_cast<int>(translation->texts.size()) < count && std::getline(file, line)) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    translation->texts.push_back(std::move(line));
  }
  if (file.bad()) return nullptr;
  return translation;
}

// The locale names to try for `locale`, most specific first: "de_DE.UTF-8@euro",
// "de_DE", "de". None for C and POSIX, and none for a name that could reach
// outside the catalogue directory.
int locale_candidates(std::string_view locale, std::string_view out[3]) {
  if (locale.empty() || locale.front() == '.' || locale.find('/') != std::string_view::npos) {
    return 0;
  }
  const std::string_view territory = locale.substr(0, locale.find_first_of(".@"));
  const std::string_view language = territory.substr(0, territory.find('_'));
  if (language.empty() || language == "C" || language == "POSIX") return 0;
  int n = 0;
  out[n++] = locale;
  if (territory != locale) out[n++] = territory;
  if (language != territory) out[n++] = language;
  return n;
}

// The locale of messages, found as gettext finds it.
const char* environment_locale() {
  for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    const char* value = std::getenv(variable);
    if (value != nullptr && *value != '\0') return value;
  }
  return "";
}

class Translations {
 public:
  void set_directory(const std::string& directory) {
    Zel::detail::AnnotatedLock lock(mutex_);
    directory_ = directory;
    // Files are read afresh from the new place; the texts read so far stay in
    // `loaded_`, since callers may still hold them.
    files_.clear();
    enabled_.store(!directory.empty(), std::memory_order_release);
  }

  // The translated text of message `number` of catalogue `name`, or null.
  const char* find(std::string_view name, int number, const char* extra) {
    if (!enabled_.load(std::memory_order_acquire)) return nullptr;
    std::string_view candidates[3];
    const int n = locale_candidates(extra != nullptr ? extra : environment_locale(), candidates);
    if (n == 0) return nullptr;
    Zel::detail::AnnotatedLock lock(mutex_);
    if (directory_.empty()) return nullptr;
    for (int i = 0; i < n; ++i) {
      const Translation* translation = file(candidates[i], name);
      if (translation == nullptr || number > static_cast<int>(translation->texts.size())) {
        continue;
      }
      const std::string& text = translation->texts[number - 1];
      if (!text.empty()) return text.c_str();
    }
    return nullptr;
  }

 private:
  // The catalogue file of `name` for `locale`, loaded on first use; null when
  // there is none. Called with `mutex_` held.
  const Translation* file(std::string_view locale, std::string_view name) ZEL_REQUIRES(mutex_) {
    std::string path = directory_;
    path += '/';
    path += locale;
    path += '/';
    path += name;
    path += ".msg";
    const auto found = files_.find(path);
    if (found != files_.end()) return found->second;
    std::unique_ptr<Translation> loaded = load_translation(path, name);
    const Translation* translation = loaded.get();
    if (loaded != nullptr) loaded_.push_back(std::move(loaded));
    files_.emplace(std::move(path), translation);
    return translation;
  }

  std::atomic<bool> enabled_{false};  // lets lookups skip the lock while translations are off
  Zel::detail::AnnotatedMutex mutex_;
  std::string directory_ ZEL_GUARDED_BY(mutex_);
  // By path; null: no usable file.
  std::unordered_map<std::string, const Translation*> files_ ZEL_GUARDED_BY(mutex_);
  std::vector<std::unique_ptr<Translation>> loaded_ ZEL_GUARDED_BY(mutex_);
};

// Never destroyed: its texts must outlive every caller, static ones included.
Translations& the_translations() {
  static Translations* const translations = new Translations;
  return *translations;
}

}  // namespace

const char* QvMsg::format(const char** catalogue, int number, const char* extra) {
  if (catalogue == nullptr || catalogue[0] == nullptr) return nullptr;
  std::string_view name;
  int count = 0;
  if (!parse_header(catalogue[0], &name, &count)) return nullptr;
  if (number < 1 || number > count) return NOT_FOUND;
  try {
    const char* translated = the_translations().find(name, number, extra);
    if (translated != nullptr) return translated;
  } catch (const std::exception&) {
    // Out of memory while loading a translation: the built-in text will do.
  }
  return catalogue[number] != nullptr ? catalogue[number] : NOT_FOUND;
}

void QvMsg::set_catalogue_directory(const std::string& directory) {
  the_translations().set_directory(directory);
}

}  // namespace Log
