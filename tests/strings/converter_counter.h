// Counts ICU converter openings in this test process. The test binary defines
// ICU's ucnv_open itself, so the library's calls land here first and are then
// passed on to ICU's own.
#ifndef ZEL_TESTS_STRINGS_CONVERTER_COUNTER_H_
#define ZEL_TESTS_STRINGS_CONVERTER_COUNTER_H_

namespace zel_test {

// Converters opened so far by any code in the process.
int converters_opened();

}  // namespace zel_test

#endif  // ZEL_TESTS_STRINGS_CONVERTER_COUNTER_H_
