#include "zel/qrpexception.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

#include "test_resource.h"
#include "zel/exception.h"
#include "zel/logadaptor.h"

namespace Zel {
namespace {

using Arg = UMessage::Arg;
using testing::StrEq;

class MockLogger : public Log::Logger {
 public:
  MOCK_METHOD(void, info, (const char*, int), (override));
  MOCK_METHOD(void, warning, (const char*, int), (override));
  MOCK_METHOD(void, error, (const char*, int), (override));
};

// Puts a mock in the adaptor's "Zel" slot and switches logging on or off.
class QRPExceptionLogging : public testing::Test {
 protected:
  void SetUp() override {
    saved_logger_ = Log::LogAdaptor::logger_zel;
    Log::LogAdaptor::logger_zel = &logger_;
  }
  void TearDown() override {
    Log::LogAdaptor::logger_zel = saved_logger_;
    QRPException::g_logging_enabled = false;
  }

  testing::StrictMock<MockLogger> logger_;
  Log::Logger* saved_logger_ = nullptr;
};

const UMessage kMessage(zelutil, 4, Arg("Zel::f"));
constexpr char kText[] = "QZMLK0654E Zel::f(): called with illegal value.";

TEST_F(QRPExceptionLogging, NothingIsLoggedWhileDisabled) {
  EXPECT_THROW(QRPException::raise(QRPException::QRP_RC_ZELUTIL, kMessage, nullptr, nullptr,
                                   QRPException::QRP_LOG_ERROR),
               QRPException);
}

TEST_F(QRPExceptionLogging, EachLevelGoesToItsOperation) {
  QRPException::g_logging_enabled = true;
  {
    testing::InSequence in_order;
    EXPECT_CALL(logger_, info(StrEq(kText), 0));
    EXPECT_CALL(logger_, warning(StrEq(kText), 0));
    EXPECT_CALL(logger_, error(StrEq(kText), 0));
  }
  for (int level : {0, 1, 2, 3, -1}) {
    try {
      QRPException::raise(static_cast<QRPException::qrp_reason_code_t>(7), kMessage, nullptr,
                          nullptr, static_cast<QRPException::qrp_log_level_t>(level));
      FAIL() << "raise returned";
    } catch (const QRPException& e) {
      EXPECT_EQ(e.qrp_reason_code(), 7);
      EXPECT_EQ(e.message().message_string().utf8_str(), kText);
    }
  }
}

TEST_F(QRPExceptionLogging, RaisingACopyDropsTheSubclass) {
  QRPException::g_logging_enabled = true;
  EXPECT_CALL(logger_, error(StrEq(kText), 0));
  const TestResource resource(u"res");
  StateException cause(UMessage(zelutil, 5));
  QRPException original(QRPException::QRP_RC_ZELUTIL, kMessage, &resource, &cause);
  StateException state(kMessage);
  state = StateException(kMessage);
  bool caught_as_state = false;
  try {
    try {
      QRPException::raise(state, QRPException::QRP_LOG_ERROR);
    } catch (const StateException&) {
      caught_as_state = true;
    }
  } catch (const QRPException& e) {
    EXPECT_EQ(e.qrp_reason_code(), 39);
    EXPECT_EQ(e.message().number(), 4);
  }
  EXPECT_FALSE(caught_as_state);
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
