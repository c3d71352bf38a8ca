#include "orvamesh/serialization/serializer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "orvamesh/serialization/int_serialization.h"
#include "orvamesh/serialization/ipv6_address_serialization.h"
#include "orvamesh/serialization/mac_address_serialization.h"
#include "orvamesh/serialization/raw_bytes_serialization.h"
#include "orvamesh/serialization/string_serialization.h"

namespace {

using namespace ORVA::MESH::SDK;
using namespace ORVA::MESH::SDK::Serialization;
using Bytes = std::vector<unsigned char>;
using ::testing::HasSubstr;
using ::testing::StartsWith;

// The exception text of `call`, or "" when it does not throw `E`.
template <typename E>
std::string ThrownText(const std::function<void()>& call) {
  try {
    call();
  } catch (const E& e) {
    return e.what();
  }
  return "";
}

struct IntCase {
  const char* name;
  std::function<Bytes()> serialize;
  Bytes wire;
  // Reads `wire` followed by one extra byte; true when it gives the original value and
  // consumes exactly the width.
  std::function<bool(const Bytes&)> readsBack;
};

template <typename Policy, typename T>
IntCase Case(const char* name, T value, Bytes wire) {
  return {name, [value] { return *Policy().Serialize(value); }, std::move(wire), [value](const Bytes& bytes) {
            auto [read, consumed] = Serializer<T, Policy>::DeserializeWithOffset(bytes.data(), bytes.size());
            return read == value && consumed == sizeof(T);
          }};
}

TEST(IntSerialization, WritesBigEndianAtEveryWidthAndReadsItBack) {
  const IntCase cases[] = {
      Case<UInt8Serialization, unsigned char>("u8", 0xAB, {0xAB}),
      Case<Int8Serialization, signed char>("i8", -2, {0xFE}),
      Case<UInt16Serialization, unsigned short>("u16", 0x0102, {0x01, 0x02}),
      Case<Int16Serialization, short>("i16", -2, {0xFF, 0xFE}),
      Case<UInt32Serialization, unsigned int>("u32", 0x01020304u, {0x01, 0x02, 0x03, 0x04}),
      Case<Int32Serialization, int>("i32", INT_MIN + 5, {0x80, 0x00, 0x00, 0x05}),
      Case<UInt64Serialization, unsigned long>("u64", 0x0102030405060708ul,
                                               {0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08}),
      Case<Int64Serialization, long>("i64", -256, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x00}),
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.serialize(), c.wire) << c.name;
    Bytes longer = c.wire;
    longer.push_back(0x5A);
    EXPECT_TRUE(c.readsBack(longer)) << c.name;
  }
}

TEST(IntSerialization, ConvertsOrderBothWaysThroughTheVirtualHooks) {
  EXPECT_EQ(UInt16Serialization().htonValue(0x0102), 0x0201);
  EXPECT_EQ(UInt32Serialization().ntohValue(0x01020304u), 0x04030201u);
  EXPECT_EQ(UInt64Serialization().htonValue(1ul), 1ul << 56);
  EXPECT_EQ(UInt8Serialization().htonValue(0x12), 0x12);
}

// A policy that keeps host order: Serialize must go through the object's htonValue.
class HostOrderSerialization : public IntSerialization<unsigned short> {
 public:
  unsigned short htonValue(const unsigned short& value) const override { return value; }
};

TEST(IntSerialization, SerializeUsesTheOverriddenConversion) {
  const unsigned short value = 0x0102;
  Bytes host(2);
  std::memcpy(host.data(), &value, 2);
  EXPECT_EQ(*HostOrderSerialization().Serialize(value), host);
}

TEST(IntSerialization, ShortBuffersNameBothSizesAndTheirThrowSite) {
  const unsigned char bytes[8] = {};
  const struct {
    std::function<void()> read;
    std::string message;
  } cases[] = {
      {[&] { UInt8Serialization().Deserialize(bytes, 0); }, "Buffer size [0] lesser than value size [1]"},
      {[&] { Int16Serialization().Deserialize(bytes, 1); }, "Buffer size [1] lesser than value size [2]"},
      {[&] { UInt32Serialization().Deserialize(bytes, 3); }, "Buffer size [3] lesser than value size [4]"},
      {[&] { Int64Serialization().Deserialize(bytes, 7); }, "Buffer size [7] lesser than value size [8]"},
  };
  for (const auto& c : cases) {
    const std::string text = ThrownText<Exception::InvalidArgumentException>(c.read);
    EXPECT_THAT(text, StartsWith("serialization/int_serialization:Deserialize:"));
    EXPECT_EQ(text.substr(text.size() - c.message.size()), c.message);
  }
}

TEST(AddressSerialization, CopiesTheRawBytesAndNeedsTheFullAddress) {
  ether_addr mac{{0x02, 0x00, 0xAB, 0x0C, 0x0D, 0x0E}};
  EXPECT_EQ(*MACAddressSerialization().Serialize(mac), Bytes(mac.ether_addr_octet, mac.ether_addr_octet + 6));
  in6_addr ip{};
  for (int i = 0; i < 16; ++i) ip.s6_addr[i] = static_cast<unsigned char>(0xF0 + i);
  EXPECT_EQ(*IPv6AddressSerialization().Serialize(ip), Bytes(ip.s6_addr, ip.s6_addr + 16));

  Bytes seventeen(ip.s6_addr, ip.s6_addr + 16);
  seventeen.push_back(0x99);
  auto [readIp, ipConsumed] = IPv6AddressSerialization().Deserialize(seventeen.data(), 16);
  EXPECT_EQ(std::memcmp(&readIp, &ip, 16), 0);
  EXPECT_EQ(ipConsumed, 16u);
  auto [readMac, macConsumed] = MACAddressSerialization().Deserialize(seventeen.data(), 17);
  EXPECT_EQ(std::memcmp(readMac.ether_addr_octet, ip.s6_addr, 6), 0);
  EXPECT_EQ(macConsumed, 6u);

  EXPECT_THAT(ThrownText<Exception::InvalidArgumentException>(
                  [&] { IPv6AddressSerialization().Deserialize(seventeen.data(), 15); }),
              testing::MatchesRegex("serialization/ipv6_address_serialization:Deserialize:[0-9]+: "
                                    "Buffer size \\[15\\] lesser than value size \\[16\\]"));
  EXPECT_THAT(ThrownText<Exception::InvalidArgumentException>(
                  [&] { MACAddressSerialization().Deserialize(seventeen.data(), 5); }),
              testing::MatchesRegex("serialization/mac_address_serialization:Deserialize:[0-9]+: "
                                    "Buffer size \\[5\\] lesser than value size \\[6\\]"));
}

TEST(VariableLengthSerialization, TakesEveryByteWithoutLengthOrTerminator) {
  const unsigned char withNul[] = {0x61, 0x00, 0x62};
  auto [text, textConsumed] = StringSerialization().Deserialize(withNul, 3);
  EXPECT_EQ(text, std::string("a\0b", 3));
  EXPECT_EQ(textConsumed, 3u);
  EXPECT_EQ(*StringSerialization().Serialize("ab"), (Bytes{0x61, 0x62}));

  auto [bytes, bytesConsumed] = RawBytesSerialization().Deserialize(withNul, 3);
  EXPECT_EQ(bytes, (Bytes{0x61, 0x00, 0x62}));
  EXPECT_EQ(bytesConsumed, 3u);

  // Empty values: a real (non-null) empty vector one way, an empty value with count 0 back.
  auto emptyText = StringSerialization().Serialize("");
  auto emptyBytes = RawBytesSerialization().Serialize({});
  ASSERT_TRUE(emptyText && emptyBytes);
  EXPECT_TRUE(emptyText->empty() && emptyBytes->empty());
  EXPECT_EQ(StringSerialization().Deserialize(withNul, 0), std::make_pair(std::string(), 0ul));
  EXPECT_EQ(RawBytesSerialization().Deserialize(withNul, 0), std::make_pair(Bytes(), 0ul));
}

TEST(Serializer, RefusesANullBufferEvenForZeroBytes) {
  const std::function<void()> reads[] = {
      [] { Serializer<unsigned char, UInt8Serialization>::DeserializeWithOffset(nullptr, 0); },
      [] { Serializer<std::string, StringSerialization>::DeserializeWithOffset(nullptr, 0); },
      [] { Serializer<in6_addr, IPv6AddressSerialization>::DeserializeWithOffset(nullptr, 16); },
  };
  for (const auto& read : reads) {
    EXPECT_THAT(ThrownText<Exception::LogicException>(read),
                testing::MatchesRegex("serialization/serializer:DeserializeWithOffset:[0-9]+: Null pointer passed"));
  }
  std::string out = "kept";
  EXPECT_THROW((Serializer<std::string, StringSerialization>::Deserialize(nullptr, 0, out)),
               Exception::LogicException);
  EXPECT_EQ(out, "kept");
}

TEST(Serializer, SerializeCallbackReadsTheFieldWhenCalled) {
  unsigned int field = 1;
  auto callback = Serializer<unsigned int, UInt32Serialization>::GenerateSerializeCallback(field);
  field = 0x0A0B0C0D;
  EXPECT_EQ(*callback(), (Bytes{0x0A, 0x0B, 0x0C, 0x0D}));
  // Each call gives a vector of its own.
  EXPECT_NE(callback(), callback());
}

TEST(Serializer, DeserializeCallbackStoresTheLeadingBytesOnly) {
  unsigned long uptime = 0;
  auto callback = Serializer<unsigned long, UInt64Serialization>::GenerateDeserializeCallback(uptime);
  const char nine[] = {0, 0, 0, 0, 0, 0, 0x01, 0x02, 0x7F};
  callback(nine, sizeof nine);
  EXPECT_EQ(uptime, 0x0102ul);

  std::string name = "old";
  auto setName = Serializer<std::string, StringSerialization>::GenerateDeserializeCallback(name);
  setName("new", 3);
  EXPECT_EQ(name, "new");
}

TEST(Serializer, AFailingDeserializeCallbackLeavesTheFieldUnchanged) {
  unsigned int build = 77;
  auto callback = Serializer<unsigned int, UInt32Serialization>::GenerateDeserializeCallback(build);
  EXPECT_THROW(callback("\x01\x02\x03", 3), Exception::InvalidArgumentException);
  EXPECT_THROW(callback(nullptr, 4), Exception::LogicException);
  EXPECT_EQ(build, 77u);
}

}  // namespace
