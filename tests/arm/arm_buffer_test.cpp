// ArmBuffer and its builders: sub-buffer layouts, string pools, limits and refusals.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "zel/arm.h"
#include "zel/qrpexception.h"

namespace Zel {
namespace {

template <typename Sub>
const Sub& sub(const ArmBuffer& b, int i) {
  return *reinterpret_cast<const Sub*>(b.buffer4()->subbuffer_array[i]);
}

std::vector<int> formats(const ArmBuffer& b) {
  std::vector<int> out;
  for (int i = 0; i < b.count(); ++i) out.push_back(b.buffer4()->subbuffer_array[i]->format);
  return out;
}

// The texts of a sub-buffer's array, "(null)" for a gap.
std::vector<std::string> texts(const char* const* array, int count) {
  std::vector<std::string> out;
  for (int i = 0; i < count; ++i) out.push_back(array[i] != nullptr ? array[i] : "(null)");
  return out;
}

// Runs `f` and expects the ARM refusal with `argument` as the message's
// argument (its reason code is pinned with the library's other raise sites).
void expect_refusal(const std::function<void()>& f, const std::string& argument) {
  try {
    f();
    ADD_FAILURE() << "no refusal for: " << argument;
  } catch (const QRPException& e) {
    EXPECT_EQ(e.message().message_string().utf8_str(),
              "QZMLK0670E Application Resource Measurement (ARM) error: " + argument + ".");
  }
}

arm_id_t make_id(unsigned char first) {
  arm_id_t id{};
  for (int i = 0; i < 16; ++i) id.id_u.uint8[i] = static_cast<unsigned char>(first + i);
  return id;
}

// Every way of adding goes through one count check; the charset sub-buffer
// names an operation of its own.
TEST(ArmBuffer, AFifthSubBufferIsRefusedAndTheFourStayUntilCleared) {
  ArmBuffer b(false);
  for (int round = 0; round < 2; ++round) {
    b.clear();
    EXPECT_TRUE(b.empty());
    for (int i = 0; i < 4; ++i) b.add_buffer(UString(u"a diagnostic"));
    expect_refusal([&] { b.add_buffer(); },
                   "ArmBuffer::add_charset_buffer():  Max Buffer count exceeded.");
    expect_refusal([&] { b.add_buffer(UString(u"detail")); },
                   "ArmBuffer::add_buffer():  Max Buffer count exceeded.");
    EXPECT_EQ(b.count(), 4);
  }
}

TEST(ArmBuffer, PoolsEachTextOnceAndSharesTheGlobalPool) {
  ArmBuffer local(false);
  const char* first = ArmBuffer::pool_string(&local, UString(u"pooled once"));
  EXPECT_STREQ(first, "pooled once");
  EXPECT_EQ(ArmBuffer::pool_string(&local, UString(u"pooled once")), first);
  EXPECT_EQ(ArmBuffer::g_str_pool.count(UString(u"pooled once")), 0u);

  ArmBuffer global(true);
  const char* shared = ArmBuffer::pool_string(&global, UString(u"G\u00fcnter"));
  EXPECT_STREQ(shared, "G\xC3\xBCnter");
  ASSERT_EQ(ArmBuffer::g_str_pool.count(UString(u"G\u00fcnter")), 1u);
  // A buffer with its own pool takes a globally pooled text from there.
  EXPECT_EQ(ArmBuffer::pool_string(&local, UString(u"G\u00fcnter")), shared);
  local.clear();
  global.clear();
  EXPECT_EQ(ArmBuffer::pool_string(&global, UString(u"G\u00fcnter")), shared);
}

TEST(ArmBuffer, FixedSubBuffersCarryTheirFields) {
  ArmBuffer b(false);
  arm_id_t id = make_id(10);
  const unsigned char address[6] = {10, 0, 0, 7, 0x1f, 0x90};
  b.add_buffer();
  b.add_buffer(987654321012LL);
  b.add_buffer(UString(u"alice"), true, id);
  b.add_buffer(2, 6, address, false, id);
  EXPECT_EQ(formats(b), (std::vector<int>{ARM_SUBBUFFER_CHARSET, ARM_SUBBUFFER_ARRIVAL_TIME,
                                          ARM_SUBBUFFER_USER, ARM_SUBBUFFER_SYSTEM_ADDRESS}));
  EXPECT_EQ(sub<arm_subbuffer_charset_t>(b, 0).charset, ARM_CHARSET_UTF8);
  EXPECT_EQ(sub<arm_subbuffer_arrival_time_t>(b, 1).opaque_time, 987654321012LL);

  const auto& user = sub<arm_subbuffer_user_t>(b, 2);
  EXPECT_STREQ(user.name, "alice");
  EXPECT_EQ(user.id_valid, ARM_TRUE);
  EXPECT_EQ(std::memcmp(&user.id, &id, sizeof id), 0);

  const auto& system = sub<arm_subbuffer_system_address_t>(b, 3);
  EXPECT_EQ((std::vector<int>{system.address_format, system.address_length, system.id_valid}),
            (std::vector<int>{2, 6, ARM_FALSE}));
  ASSERT_NE(system.address, address);  // a copy, inside the sub-buffer's block
  EXPECT_EQ(std::memcmp(system.address, address, 6), 0);

  // An address without bytes, or bytes without an address, is no address; the
  // id is still passed on.
  ArmBuffer no_address(false);
  no_address.add_buffer(2, 0, address, true, id);
  no_address.add_buffer(2, 4, nullptr, true, id);
  for (int i = 0; i < 2; ++i) {
    const auto& empty = sub<arm_subbuffer_system_address_t>(no_address, i);
    EXPECT_EQ(empty.address, nullptr);
    EXPECT_EQ(empty.id_valid, ARM_TRUE);
    EXPECT_EQ(std::memcmp(&empty.id, &id, sizeof id), 0);
  }
}

TEST(ArmBuffer, CutsTextsToTheStandardsLimits) {
  ArmBuffer b(false);
  b.add_buffer(UString(std::u16string(5000, u'd')));
  EXPECT_EQ(std::strlen(sub<arm_subbuffer_diag_detail_t>(b, 0).diag_detail), 4095u);

  // Characters, not code units: a pair at the cut stays whole.
  std::u16string text(31, u'x');
  text += u"\U0001F600\U0001F600";
  ArmMetricValuesBuffer values;
  values.add_value(1, true, UString(text));
  b.add_buffer(values);
  const auto& metrics = sub<arm_subbuffer_metric_values_t>(b, 1);
  ASSERT_EQ(metrics.count, 1);
  EXPECT_EQ(std::string(metrics.metric_value_array[0].metric_u.string32),
            std::string(31, 'x') + "\xF0\x9F\x98\x80");
}

// Context values sit at the positions their names had among the identity's
// strings: no renumbering, so names added after properties leave gaps. Each
// builder is emptied by the buffer it goes to.
TEST(ArmIdentity, PropertiesNamesAndContextValuesGoToTheirArrays) {
  ArmTransIdentyBuffer identity;
  identity.add_identity_prop(u"kind", u"checkout");  // strings 0 and 1
  identity.add_context_prop(UString(u"user"));       // string 2
  identity.add_context_prop(UString(u"site"));       // string 3
  identity.uri = UString(u"/vob/x");
  ArmTransContextBuffer context(identity.ctx_indicies());
  context.add_ctx_prop(UString(u"site"), UString(u"lab"));
  context.uri = UString(u"/x");
  expect_refusal([&] { context.add_ctx_prop(UString(u"unknown"), UString(u"v")); },
                 "ArmContextBuffer:: trying to add unknown context property");
  ArmBuffer b(false);
  b.add_buffer(identity);
  b.add_buffer(context);
  const auto& s = sub<arm_subbuffer_tran_identity_t>(b, 0);
  ASSERT_EQ(s.identity_property_count, 1);
  EXPECT_STREQ(s.identity_property_array[0].name, "kind");
  EXPECT_STREQ(s.identity_property_array[0].value, "checkout");
  EXPECT_EQ(texts(s.context_name_array, s.context_name_count),
            (std::vector<std::string>{"user", "site"}));
  EXPECT_STREQ(s.uri, "/vob/x");
  const auto& c = sub<arm_subbuffer_tran_context_t>(b, 1);
  EXPECT_EQ(texts(c.context_value_array, c.context_value_count),
            (std::vector<std::string>{"(null)", "(null)", "(null)", "lab"}));
  EXPECT_STREQ(c.uri, "/x");
  EXPECT_TRUE(identity.uri.empty());
  EXPECT_TRUE(context.uri.empty());
  // The identity builder still knows its context names.
  EXPECT_EQ(identity.ctx_indicies(),
            (std::map<UString, int>{{UString(u"user"), 2}, {UString(u"site"), 3}}));

  identity.add_identity_prop(u"a", u"1");
  b.add_buffer(identity, true);
  b.add_buffer(context, false);
  const auto& only_properties = sub<arm_subbuffer_tran_identity_t>(b, 2);
  EXPECT_EQ(only_properties.identity_property_count, 1);
  EXPECT_EQ(only_properties.context_name_array, nullptr);
  EXPECT_EQ(only_properties.uri, nullptr);  // empty
  EXPECT_EQ(sub<arm_subbuffer_app_context_t>(b, 3).context_value_count, 0);
  EXPECT_EQ(sub<arm_subbuffer_app_context_t>(b, 3).context_value_array, nullptr);
  EXPECT_EQ(formats(b), (std::vector<int>{ARM_SUBBUFFER_TRAN_IDENTITY, ARM_SUBBUFFER_TRAN_CONTEXT,
                                          ARM_SUBBUFFER_TRAN_IDENTITY, ARM_SUBBUFFER_APP_CONTEXT}));
}

// Either kind alone reaches the limit; an empty kind has no array at all.
TEST(ArmIdentity, NineteenPropertiesOfBothKindsAreTheLimit) {
  for (int names = 0; names <= 19; names += 19) {
    ArmAppIdentyBuffer identity;
    for (int i = 0; i < 19; ++i) {
      const UString n(Utf8String("p" + std::to_string(i)));
      if (i < names) {
        identity.add_context_prop(n);
      } else {
        identity.add_identity_prop(n.c_str(), u"v");
      }
    }
    const std::string reason = "ArmIdentityBuffer:: trying to register too many properties";
    expect_refusal([&] { identity.add_identity_prop(u"one", u"more"); }, reason);
    expect_refusal([&] { identity.add_context_prop(UString(u"one")); }, reason);
    ArmBuffer b(false);
    b.add_buffer(identity);
    EXPECT_EQ(formats(b), std::vector<int>{ARM_SUBBUFFER_APP_IDENTITY});
    const auto& s = sub<arm_subbuffer_app_identity_t>(b, 0);
    EXPECT_EQ(s.identity_property_count, 19 - names);
    EXPECT_EQ(s.identity_property_array == nullptr, names == 19);
    EXPECT_EQ(s.context_name_count, names);
    EXPECT_EQ(s.context_name_array == nullptr, names == 0);
  }
}

TEST(ArmMetrics, ValuesKeepTheirFormatsAndOrder) {
  ArmMetricValuesBuffer values;
  values.add_value(0, ARM_METRIC_FORMAT_COUNTER32, 1, true, -7);
  values.add_value(1, ARM_METRIC_FORMAT_GAUGE64, 2, false, 1LL << 40);
  values.add_value(2, 3, true, arm_metric_cntrdivr32{10, 4});
  values.add_value(5, 4, true, arm_metric_gaugedivr32{-3, 2});
  values.add_value(6, true, UString(u"first"));
  values.add_value(7, true, UString(u"second"));  // replaces the string of both
  ArmMetricValuesBuffer copy(values);
  expect_refusal([&] { values.add_value(6, ARM_METRIC_FORMAT_COUNTER32, 0, true, 1); },
                 "ArmMetricValuesBuffer:: illegal slot # for non-string metric");

  ArmBuffer b(false);
  b.add_buffer(copy);
  EXPECT_EQ(formats(b), std::vector<int>{ARM_SUBBUFFER_METRIC_VALUES});
  const auto& s = sub<arm_subbuffer_metric_values_t>(b, 0);
  ASSERT_EQ(s.count, 6);
  const arm_metric_t* m = s.metric_value_array;
  // Slot, format, usage and validity of each, in the order added.
  const std::vector<std::vector<int>> expected = {{0, ARM_METRIC_FORMAT_COUNTER32, 1, ARM_TRUE},
                                                  {1, ARM_METRIC_FORMAT_GAUGE64, 2, ARM_FALSE},
                                                  {2, ARM_METRIC_FORMAT_CNTRDIVR32, 3, ARM_TRUE},
                                                  {5, ARM_METRIC_FORMAT_GAUGEDIVR32, 4, ARM_TRUE},
                                                  {6, ARM_METRIC_FORMAT_STRING32, 6, ARM_TRUE},
                                                  {6, ARM_METRIC_FORMAT_STRING32, 7, ARM_TRUE}};
  for (int i = 0; i < 6; ++i) {
    EXPECT_EQ((std::vector<int>{m[i].slot, m[i].format, m[i].usage, m[i].valid}), expected[i]) << i;
  }
  EXPECT_EQ(m[0].metric_u.counter32, -7);
  EXPECT_EQ(m[1].metric_u.gauge64, 1LL << 40);
  EXPECT_EQ(m[2].metric_u.counterdivisor32.counter, 10);
  EXPECT_EQ(m[2].metric_u.counterdivisor32.divisor, 4);
  EXPECT_EQ(m[3].metric_u.gaugedivisor32.gauge, -3);
  EXPECT_STREQ(m[4].metric_u.string32, "second");
  EXPECT_EQ(m[5].metric_u.string32, m[4].metric_u.string32);
}

TEST(ArmMetrics, BindingsAreCopiedInOrderAndTheBuilderEmptied) {
  ArmMetricBindingsBuffer bindings;
  bindings.add_binding(3, make_id(30));
  bindings.add_binding(1, make_id(50));
  ArmBuffer b(false);
  b.add_buffer(bindings);
  b.add_buffer(bindings);
  EXPECT_EQ(formats(b), std::vector<int>(2, ARM_SUBBUFFER_METRIC_BINDINGS));
  const auto& s = sub<arm_subbuffer_metric_bindings_t>(b, 0);
  ASSERT_EQ(s.count, 2);
  const arm_metric_binding_t* m = s.metric_binding_array;
  // Slots, and the first and last bytes of the ids.
  EXPECT_EQ((std::vector<int>{m[0].slot, m[0].id.id_u.uint8[0], m[1].slot, m[1].id.id_u.uint8[15]}),
            (std::vector<int>{3, 30, 1, 65}));
  EXPECT_EQ(sub<arm_subbuffer_metric_bindings_t>(b, 1).count, 0);
}

}  // namespace
}  // namespace Zel
