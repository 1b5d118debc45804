// The baseline of bench_xmltag's start-up comparison: a small shared library
// that is loaded like libzelutil and has a static initialiser of its own, but
// no tag catalogue.
#include "zel/ustring.h"

namespace {

const Zel::UString kName(u"no catalogue");

}  // namespace

extern "C" __attribute__((visibility("default"))) unsigned zel_bench_baseline_name_length();

unsigned zel_bench_baseline_name_length() { return kName.length(); }
