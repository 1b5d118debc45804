#include "zel/qrpexception.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <utility>

#include "test_resource.h"
#include "zel/exception.h"
#include "zel/logadaptor.h"

namespace Zel {
namespace {

using Arg = UMessage::Arg;

const UMessage kMessage(zelutil, 4, Arg("Zel::f"));

class MockLogger : public Log::Logger {
 public:
  MOCK_METHOD(void, info, (const char*, int), (override));
  MOCK_METHOD(void, warning, (const char*, int), (override));
  MOCK_METHOD(void, error, (const char*, int), (override));
};

// The levels of raise() are checked on the log file (logadaptor_test.cpp); here
// the copying form logs the message it is given.
TEST(QRPException, RaisingACopyLogsItAndDropsTheSubclass) {
  testing::StrictMock<MockLogger> logger;
  Log::Logger* const saved_logger = std::exchange(Log::LogAdaptor::logger_zel, &logger);
  QRPException::g_logging_enabled = true;
  const char* const text = "QZMLK0655E XmlTag::lookup(): called with illegal id value.";
  EXPECT_CALL(logger, error(testing::StrEq(text), 0));
  StateException state(kMessage);
  state = StateException(UMessage(zelutil, 5));
  bool caught_as_state = false;
  try {
    try {
      QRPException::raise(state, QRPException::QRP_LOG_ERROR);
    } catch (const StateException&) {
      caught_as_state = true;
    }
  } catch (const QRPException& e) {
    EXPECT_EQ(e.qrp_reason_code(), 39);
    EXPECT_EQ(e.message().number(), 5);
  }
  EXPECT_FALSE(caught_as_state);
  QRPException::g_logging_enabled = false;
  Log::LogAdaptor::logger_zel = saved_logger;
}

// Raising with a list of causes logs the message just as raising with one does.
TEST(QRPException, RaisingWithSeveralCausesLogsToo) {
  testing::StrictMock<MockLogger> logger;
  Log::Logger* const saved_logger = std::exchange(Log::LogAdaptor::logger_zel, &logger);
  QRPException::g_logging_enabled = true;
  EXPECT_CALL(logger,
              warning(testing::StrEq("QZMLK0654E Zel::f(): called with illegal value."), 0));
  StateException cause(kMessage);
  EXPECT_THROW(
      QRPException::raise(QRPException::QRP_RC_ZELUTIL, kMessage, nullptr,
                          std::vector<QRPException*>{&cause}, QRPException::QRP_LOG_WARNING),
      QRPException);
  QRPException::g_logging_enabled = false;
  Log::LogAdaptor::logger_zel = saved_logger;
}

TEST(QRPException, OwnsClonesOfResourceAndCauses) {
  auto resource = std::make_unique<TestResource>(UString(u"branch"));
  auto cause = std::make_unique<IllegalArgException>(UMessage(zelutil, 7, Arg("a"), Arg("b")));
  QRPException e(QRPException::QRP_RC_ZELUTIL, kMessage, resource.get(), cause.get());
  resource.reset();
  cause.reset();
  ASSERT_NE(e.resource(), nullptr);
  EXPECT_EQ(e.resource()->to_string(), UString(u"branch"));
  ASSERT_EQ(e.causes().size(), 1u);
  EXPECT_NE(dynamic_cast<IllegalArgException*>(e.causes()[0]), nullptr);
  EXPECT_EQ(e.causes()[0]->message().message_string().utf8_str(),
            "QZMLK0657E Invalid Oid/Uuid format for arg: 'a' with value: 'b'");

  QRPException copy(e);
  EXPECT_NE(copy.resource(), e.resource());
  EXPECT_NE(copy.causes()[0], e.causes()[0]);

  StateException s1(UMessage(zelutil, 5));
  RuntimeException s2(UMessage(zelutil, 6));
  QRPException several(QRPException::QRP_RC_ZELUTIL, kMessage, nullptr,
                       std::vector<QRPException*>{&s1, nullptr, &s2});
  ASSERT_EQ(several.causes().size(), 2u);
  EXPECT_NE(dynamic_cast<RuntimeException*>(several.causes()[1]), nullptr);

  several = e;
  EXPECT_EQ(several.causes().size(), 1u);
  EXPECT_NE(several.resource(), nullptr);
  auto& self = several;
  several = self;
  EXPECT_EQ(several.causes().size(), 1u);
  EXPECT_EQ(several.resource()->to_string(), UString(u"branch"));
}

TEST(QRPException, SubclassesKeepTheirTypeThroughClone) {
  const IllegalArgException illegal(kMessage);
  std::unique_ptr<QRPException> clone(static_cast<const QRPException&>(illegal).clone());
  EXPECT_NE(dynamic_cast<IllegalArgException*>(clone.get()), nullptr);
  EXPECT_EQ(clone->qrp_reason_code(), 39);
  std::unique_ptr<QRPException> runtime(RuntimeException(kMessage).clone());
  EXPECT_NE(dynamic_cast<RuntimeException*>(runtime.get()), nullptr);
  EXPECT_THROW(throw StateException(kMessage), QRPException);
}

TEST(Exception, TextOnlyRootIsSeparate) {
  try {
    try {
      Exception::raise(UString(u"first"));
    } catch (const QRPException&) {
      FAIL() << "caught by the other root";
    }
  } catch (Exception& e) {
    e.add(UString(u", second")).add(UString(u", third"));
    EXPECT_EQ(e.msg(), UString(u"first, second, third"));
    EXPECT_EQ(e.kind(), 0);
  }
}

}  // namespace
}  // namespace Zel
