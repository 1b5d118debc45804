#include "zel/qrpexception.h"

#include <gtest/gtest.h>

#include <memory>

#include "test_resource.h"
#include "zel/exception.h"

namespace Zel {
namespace {

using Arg = UMessage::Arg;

const UMessage kMessage(zelutil, 4, Arg("Zel::f"));

// Resource and causes are cloned, each cause keeping its class; copies and
// assignments clone them again.
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
  EXPECT_EQ(e.causes()[0]->message().number(), 7);

  QRPException copy(e);
  EXPECT_NE(copy.resource(), e.resource());
  EXPECT_NE(copy.causes()[0], e.causes()[0]);

  StateException s1(UMessage(zelutil, 5));
  RuntimeException s2(UMessage(zelutil, 6));
  QRPException several(QRPException::QRP_RC_NONE, UMessage(zelutil, 6), nullptr,
                       std::vector<QRPException*>{&s1, nullptr, &s2});
  ASSERT_EQ(several.causes().size(), 2u);
  EXPECT_NE(dynamic_cast<StateException*>(several.causes()[0]), nullptr);
  EXPECT_NE(dynamic_cast<RuntimeException*>(several.causes()[1]), nullptr);

  several = e;
  EXPECT_EQ(several.qrp_reason_code(), QRPException::QRP_RC_ZELUTIL);
  EXPECT_EQ(several.message().number(), 4);
  EXPECT_EQ(several.causes().size(), 1u);
  auto& self = several;
  several = self;
  EXPECT_EQ(several.causes().size(), 1u);
  ASSERT_NE(several.resource(), nullptr);
  EXPECT_EQ(several.resource()->to_string(), UString(u"branch"));
}

TEST(Exception, TextOnlyRootIsSeparate) {
  try {
    Exception::raise(UString(u"first"));
  } catch (const QRPException&) {
    ADD_FAILURE() << "caught by the other root";
  } catch (Exception& e) {
    e.add(UString(u", second")).add(UString(u", third"));
    EXPECT_EQ(e.msg(), UString(u"first, second, third"));
    EXPECT_EQ(e.kind(), 0);
  }
}

}  // namespace
}  // namespace Zel
