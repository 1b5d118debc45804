// zel/pname.h - path names and owned stdio streams.
//
// Pname holds a path and splits it, on first demand, into its parent directory
// and its leaf at the last "/":
//
//   Zel::Pname p(Zel::UString(u"/usr/tmp/x"));
//   p.parent_dir();  // "/usr/tmp"
//   p.leaf();        // "x"
//
// The root is deliberately never reported as a parent: "/x" and "//x" have the
// leaf "x" and an empty parent. A path that ends in "/" has an empty leaf.
//
// UtlFileIoPtr is the one owner of an open stdio stream and closes it when it
// goes out of scope, also when an exception leaves the scope.

#ifndef ZEL_PNAME_H_
#define ZEL_PNAME_H_

#include <cstdio>

#include "zel/export.h"
#include "zel/ustring.h"

namespace Zel {

class ZEL_EXPORT Pname {
 public:
  Pname() = default;
  explicit Pname(const UString& path) : path_(path) {}

  // Copies the path and the split caches.
  Pname& operator=(const Pname& other) = default;
  Pname(const Pname& other) = default;
  // Sets the path; the parts are split afresh on the next request.
  Pname& operator=(const UString& path);

  const UString& path() const { return path_; }
  // The part after the last separator (the whole path when there is none).
  const UString& leaf() const;
  // The part before the last separator; empty when there is none, and when
  // it would be the root alone.
  const UString& parent_dir() const;
  // Splits the path into the two parts now; an empty path is left alone.
  void split_leaf() const;
  // Removes one trailing separator, if there is one: "/tmp//" becomes "/tmp/",
  // and "/" becomes empty.
  void strip_trailing_separator();

 private:
  UString path_;
  // Caches filled by the const operations.
  mutable UString leaf_;
  mutable UString parent_;
};

class ZEL_EXPORT UtlFileIoPtr {
 public:
  // Takes ownership of `file` (null: no stream).
  explicit UtlFileIoPtr(FILE* file = nullptr) : file_(file) {}
  // Closes the stream, if any; a close error cannot be reported from here: call
  // close() first where it matters.
  ~UtlFileIoPtr();

  UtlFileIoPtr(const UtlFileIoPtr&) = delete;
  UtlFileIoPtr& operator=(const UtlFileIoPtr&) = delete;

  FILE* get() const { return file_; }
  // Closes the stream now and returns fclose's result (0 when there was none).
  int close();
  // Gives up ownership without closing.
  FILE* release();

 private:
  FILE* file_;
};

}  // namespace Zel

#endif  // ZEL_PNAME_H_
