// The version record compiled into the library; its values come from the build
// (qbs_version_id.cpp is generated from qbs_version_id.cpp.in).
#ifndef ZEL_SRC_VERSION_QBS_VERSION_ID_H_
#define ZEL_SRC_VERSION_QBS_VERSION_ID_H_

namespace Zel::detail {

struct VersionRecord {
  const char* component;   // "libzelutil"
  const char* version;     // four dot-separated numbers
  const char* label;       // empty in ordinary builds
  const char* build_time;  // ctime's 24-character form, without its newline
  const char* banner;      // framed lines for binary inspection; never printed
};

extern const VersionRecord qbs_version_id;

}  // namespace Zel::detail

#endif  // ZEL_SRC_VERSION_QBS_VERSION_ID_H_
