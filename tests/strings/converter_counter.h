// Counts ICU converter openings in this test process, and can make the next
// conversion to bytes report a status of the test's choosing. The test binary
// defines ICU's ucnv_open and ucnv_fromUChars itself, so the library's calls
// land here first and are then passed on to ICU's own.
#ifndef ZEL_TESTS_STRINGS_CONVERTER_COUNTER_H_
#define ZEL_TESTS_STRINGS_CONVERTER_COUNTER_H_

namespace zel_test {

// Converters opened so far by any code in the process.
int converters_opened();

// The next ucnv_fromUChars converts as usual, then reports `status` (a warning
// or an error) in place of ICU's own.
void report_on_next_conversion(int status);

}  // namespace zel_test

#endif  // ZEL_TESTS_STRINGS_CONVERTER_COUNTER_H_
