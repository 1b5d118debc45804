// zel/fileutl.h - temporary files and directories.
//
// Fileutl makes uniquely named temporary files and directories in the first
// writable of $TMP, $TMPDIR, /var/tmp/ and /tmp (else "."), records each with a
// file id of the caller's choosing, and deletes them on request, one by one or
// all those of one id. Nothing is deleted at exit: the caller cleans up.
//
//   Zel::UString path = Zel::Fileutl::create_tmp_file(7);      // /var/tmp/TMP0, empty
//   Zel::UString in_dir = Zel::Fileutl::create_tmp_file(Zel::UString(u"x.xml"), 7);
//   // /var/tmp/DIR0/x.xml: the directory exists, the file is the caller's to create
//   Zel::Fileutl::delete_tmp_files(7);                          // both gone
//
// Names are TMP<n> and DIR<n> with n from a process-wide counter of 0..9999.
// Creation is exclusive (O_EXCL, mkdir), so two threads or two processes that
// create at the same moment always get distinct objects. All operations are
// static and safe to call from any thread, but not from static initialisers.

#ifndef ZEL_FILEUTL_H_
#define ZEL_FILEUTL_H_

#include <cstdint>
#include <map>

#include "zel/critsec_lock.h"
#include "zel/export.h"
#include "zel/thread_annotations.h"
#include "zel/ustring.h"

namespace Zel {

class ZEL_EXPORT Fileutl {
 public:
  struct tmp_file_info_t {
    // The path is a file inside a private directory made for it; deleting the
    // file removes that directory too.
    bool in_private_dir;
    std::uint32_t file_id;
  };

  // The temporary directory, without a trailing separator; found on the first
  // call and kept. Throws RuntimeException (QZMLK0669E) when the directory's
  // name cannot be read in the default character set.
  static UString sys_tmpdir();

  // Creates an empty file (mode 0600) or a directory (mode 0777 less the
  // umask) named <tmpdir>/<prefix><n> and returns its path; not recorded.
  // Throws QRPException (reason QRP_RC_FILE_SYSTEM, QZMLK0664E with the
  // system's error text, or "too many retries" after 10000 names in use).
  static UString make_tmp_object(const UString& prefix, bool is_dir);

  // A new empty file TMP<n>, recorded under `file_id`.
  static UString create_tmp_file(unsigned file_id);
  // A new private directory DIR<n>; returns DIR<n>/<leaf>, recorded under
  // `file_id`. The file itself is not created.
  static UString create_tmp_file(const UString& leaf, unsigned file_id);

  // Sets the file id of a recorded path, or records `path` (as a plain file)
  // when it is not recorded yet. Returns `path`.
  static UString set_file_id(const UString& path, unsigned file_id);

  // Removes the file and, for a path made by create_tmp_file(leaf, id), its
  // private directory; forgets the path. Failures to remove are ignored, and
  // a path never recorded is still removed. Returns `path`. Throws
  // RuntimeException (QZMLK0669E) when the path cannot be written in the
  // default character set.
  static UString delete_tmp_file(const UString& path);

  // Deletes every recorded path of `file_id`, or every recorded path for 0.
  static void delete_tmp_files(unsigned file_id);

  // The recorded paths, and the lock that guards them (recursive: the
  // operations above nest).
  static std::map<UString, tmp_file_info_t> g_tmp_table ZEL_GUARDED_BY(g_lock);
  static CriticalSectionLock g_lock;
};

}  // namespace Zel

#endif  // ZEL_FILEUTL_H_
