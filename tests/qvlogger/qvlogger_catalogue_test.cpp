#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "qvlogger/qvlogger.h"
#include "support/scratch.h"

namespace {

using Log::QvMsg;
using zel_test::ScratchDir;
using zel_test::write_file;

std::string text(const char* found) { return found != nullptr ? found : "(null)"; }

// The array holds one text more than its header counts: the count is the bound.
TEST(QvMsgCatalogue, NumbersAndHeaders) {
  struct Case {
    const char* header;
    int number;
    std::string expected;
  };
  const std::string none = QvMsg::NOT_FOUND;
  const std::vector<Case> cases = {
      {"zel 2", 1, "one"},          {"zel 2", 2, "two"},     {"zel  2 ", 2, "two"},
      {"zel 2", 3, none},           {"zel 2", 0, none},      {"zel 0", 1, none},
      {nullptr, 1, "(null)"},       {"zel", 1, "(null)"},    {"zel -1", 1, "(null)"},
      {" 1", 1, "(null)"},          {"zel 1x", 1, "(null)"}, {"zel 1000000001", 1, "(null)"},
      {"zel 1000000000", 1, "one"},
  };
  for (const Case& c : cases) {
    const char* catalogue[] = {c.header, "one", "two", "beyond the count"};
    EXPECT_EQ(text(QvMsg::format(catalogue, c.number, nullptr)), c.expected)
        << (c.header != nullptr ? c.header : "(null)") << " #" << c.number;
  }
  EXPECT_EQ(QvMsg::format(nullptr, 1, nullptr), nullptr);
  const char* hole[] = {"zel 1", nullptr};
  EXPECT_EQ(text(QvMsg::format(hole, 1, nullptr)), none);
}

const char* kCatalogue[] = {"zel 3", "one", "two", "three"};

class QvMsgTranslation : public ::testing::Test {
 protected:
  void SetUp() override {
    write_file(dir_.file("de/zel.msg"), "zel 3\nEins\n\nDrei\r\n");
    write_file(dir_.file("de_DE/zel.msg"), "zel 1\nEins (DE)\n");
    write_file(dir_.file("de_DE.UTF-8/zel.msg"), "zel 2\n\nZwei (UTF-8)\n");
    write_file(dir_.file("fr/zel.msg"), "other 3\nun\ndeux\ntrois\n");
    write_file(dir_.file("es/zel.msg"), "zel 1\nuno\ndos\n");
    // "C" and "POSIX" mean no translation, whatever the directory holds.
    for (const char* c : {"C", "POSIX"})
      write_file(dir_.file(c + std::string("/zel.msg")), "zel 1\nx\n");
    QvMsg::set_catalogue_directory(dir_.path());
  }
  void TearDown() override { QvMsg::set_catalogue_directory(""); }

  static std::string texts(const char* locale) {
    return text(QvMsg::format(kCatalogue, 1, locale)) + "|" +
           text(QvMsg::format(kCatalogue, 2, locale)) + "|" +
           text(QvMsg::format(kCatalogue, 3, locale));
  }

  ScratchDir dir_;
};

// de has an empty line for message 2 (not translated) and a '\r' after 3; fr's
// file is of another catalogue, es's has a line too many.
TEST_F(QvMsgTranslation, LocaleNamesFromMostToLeastSpecific) {
  const std::vector<std::pair<const char*, std::string>> cases = {
      {"de", "Eins|two|Drei"},
      {"de_AT", "Eins|two|Drei"},
      {"de_DE", "Eins (DE)|two|Drei"},
      {"de_DE.UTF-8", "Eins (DE)|Zwei (UTF-8)|Drei"},
      {"de_DE@euro", "Eins (DE)|two|Drei"},
      {"de.ISO-8859-1", "Eins|two|Drei"},
      {"es", "uno|two|three"},
  };
  const std::string untranslated = "one|two|three";
  for (const auto& [locale, expected] : cases) {
    EXPECT_EQ(texts(locale), expected) << locale;
  }
  for (const char* locale : {"fr", "ja", "C", "POSIX", "C.UTF-8", "", "../de", ".."}) {
    EXPECT_EQ(texts(locale), untranslated) << locale;
  }
}

// LC_ALL, else LC_MESSAGES, else LANG; `extra` goes before all three.
TEST_F(QvMsgTranslation, CurrentLocaleFromTheEnvironment) {
  const char* names[] = {"LC_ALL", "LC_MESSAGES", "LANG"};
  const std::vector<std::vector<const char*>> cases = {{"", "", "de_DE.UTF-8", "Eins (DE)"},
                                                       {"", "de", "de_DE", "Eins"},
                                                       {"C", "de", "de_DE", "one"}};
  for (const auto& c : cases) {
    for (int i = 0; i < 3; ++i) ::setenv(names[i], c[i], 1);
    EXPECT_STREQ(QvMsg::format(kCatalogue, 1, nullptr), c[3]) << c[0] << "|" << c[1] << "|" << c[2];
  }
  EXPECT_STREQ(QvMsg::format(kCatalogue, 1, "de"), "Eins");
  for (const char* name : names) ::unsetenv(name);
}

// Callers keep the texts they get: the texts outlive the files and the
// setting; naming the directory again reads the files afresh.
TEST_F(QvMsgTranslation, TextsStayValidAndFilesAreReadAgainOnANewSetting) {
  const char* old_text = QvMsg::format(kCatalogue, 1, "de");
  write_file(dir_.file("de/zel.msg"), "zel 1\nEins, neu\n");
  EXPECT_STREQ(QvMsg::format(kCatalogue, 1, "de"), "Eins");
  QvMsg::set_catalogue_directory(dir_.path());
  EXPECT_STREQ(QvMsg::format(kCatalogue, 1, "de"), "Eins, neu");
  QvMsg::set_catalogue_directory("");
  EXPECT_STREQ(QvMsg::format(kCatalogue, 1, "de_DE.UTF-8"), "one");
  EXPECT_STREQ(old_text, "Eins");
}

}  // namespace
