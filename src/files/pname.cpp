#include "zel/pname.h"

#include <algorithm>
#include <utility>

namespace Zel {

namespace {

// Separator sets: one for splitting, one for stripping, so that a separator
// could be added to either. Plain arrays: no static initialisation order issue
// for Pname objects built during start-up.
constexpr UChar kSplitSeparators[] = u"/";
constexpr UChar kStripSeparators[] = u"/";

bool is_one_of(UChar c, const UChar* set) {
  for (; *set != 0; ++set) {
    if (*set == c) return true;
  }
  return false;
}

}  // namespace

Pname& Pname::operator=(const UString& path) {
  path_ = path;
  leaf_.clear();
  parent_.clear();
  return *this;
}

const UString& Pname::leaf() const {
  if (leaf_.empty()) split_leaf();
  return leaf_;
}

const UString& Pname::parent_dir() const {
  if (leaf_.empty()) split_leaf();
  return parent_;
}

void Pname::split_leaf() const {
  if (path_.empty()) return;
  leaf_.clear();
  parent_.clear();
  // Just past the last separator of any kind; 0: none. A separator that is
  // not found gives npos, and npos + 1 wraps to 0, which changes nothing.
  UString::size_type end = 0;
  for (const UChar* separator = kSplitSeparators; *separator != 0; ++separator) {
    end = std::max(end, path_.find_last(*separator, 0) + 1);
  }
  if (end == 0) {
    leaf_ = path_;
    return;
  }
  parent_ = path_.substr(0, end - 1);
  leaf_ = path_.substr(end);
  if (parent_.length() == 1 && is_one_of(parent_[0], kSplitSeparators)) parent_.clear();
}

void Pname::strip_trailing_separator() {
  if (path_.empty() || !is_one_of(path_[path_.length() - 1], kStripSeparators)) return;
  path_.erase(path_.length() - 1, 1);
  leaf_.clear();
  parent_.clear();
}

UtlFileIoPtr::~UtlFileIoPtr() { close(); }

int UtlFileIoPtr::close() {
  FILE* file = std::exchange(file_, nullptr);
  return file != nullptr ? std::fclose(file) : 0;
}

FILE* UtlFileIoPtr::release() { return std::exchange(file_, nullptr); }

}  // namespace Zel
