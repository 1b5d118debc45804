#include <cstdio>

#include "qbs_version_id.h"
#include "zel/version.h"

namespace {

// The component name is left-aligned in a field this wide.
constexpr int kNameWidth = 33;

}  // namespace

using Zel::detail::qbs_version_id;

void libzelutil_print_verid(void) {
  char line[LIBZELUTIL_VERID_MAX];
  libzelutil_sprintf_verid(line);
  std::fputs(line, stdout);
}

void libzelutil_sprintf_verid(char* buffer) {
  const auto& v = qbs_version_id;
  if (v.label[0] == '\0') {
    std::sprintf(buffer, "%-*s %s (%s)\n", kNameWidth, v.component, v.version, v.build_time);
  } else {
    std::sprintf(buffer, "%-*s %s \"%s\" (%s)\n", kNameWidth, v.component, v.version, v.label,
                 v.build_time);
  }
}
