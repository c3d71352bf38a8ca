#include "orvamesh/serialization/serializer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <tuple>

#include "orvamesh/serialization/int_serialization.h"
#include "orvamesh/serialization/ipv6_address_serialization.h"
#include "orvamesh/serialization/mac_address_serialization.h"
#include "orvamesh/serialization/raw_bytes_serialization.h"
#include "orvamesh/serialization/string_serialization.h"
#include "support/thrown_text.h"

namespace {

using namespace ORVA::MESH::SDK;
using namespace ORVA::MESH::SDK::Serialization;
using orva::test::ThrownText;
using ::testing::MatchesRegex;
using Bytes = std::vector<unsigned char>;

// Serializes `value`, then reads the bytes back with one extra byte behind them.
template <typename Policy, typename T>
void ExpectWire(T value, const Bytes& wire) {
  EXPECT_EQ(*Policy().Serialize(value), wire) << sizeof(T) << " bytes";
  Bytes longer = wire;
  longer.push_back(0x5A);
  EXPECT_EQ((Serializer<T, Policy>::DeserializeWithOffset(longer.data(), longer.size())),
            std::make_pair(value, static_cast<unsigned long>(sizeof(T))));
}

// Keeps host order: Serialize must convert through the object, not a fixed function.
class HostOrderSerialization : public IntSerialization<unsigned short> {
 public:
  unsigned short htonValue(const unsigned short& value) const override { return value; }
};

TEST(IntSerialization, IsBigEndianAtEveryWidthReadsOnlyItsWidthAndConvertsThroughTheVirtualHook) {
  ExpectWire<UInt8Serialization, unsigned char>(0xAB, {0xAB});
  ExpectWire<UInt16Serialization, unsigned short>(0x0102, {0x01, 0x02});
  ExpectWire<UInt32Serialization, unsigned int>(0x01020304u, {0x01, 0x02, 0x03, 0x04});
  ExpectWire<Int32Serialization, int>(INT_MIN + 5, {0x80, 0x00, 0x00, 0x05});
  ExpectWire<UInt64Serialization, unsigned long>(0x0102030405060708ul, {1, 2, 3, 4, 5, 6, 7, 8});
  ExpectWire<Int64Serialization, long>(-256, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x00});

  const unsigned short value = 0x0102;
  Bytes host(2);
  std::memcpy(host.data(), &value, 2);
  EXPECT_EQ(*HostOrderSerialization().Serialize(value), host);
}

TEST(FixedSizeSerialization, ShortBuffersNameBothSizesAndTheirThrowSite) {
  const unsigned char bytes[16] = {};
  // The read, the module that throws, and the buffer size it was given.
  const std::tuple<std::function<void()>, const char*, size_t> cases[] = {
      {[&] { UInt8Serialization().Deserialize(bytes, 0); }, "int_serialization", 0},
      {[&] { Int64Serialization().Deserialize(bytes, 7); }, "int_serialization", 7},
      {[&] { MACAddressSerialization().Deserialize(bytes, 5); }, "mac_address_serialization", 5},
      {[&] { IPv6AddressSerialization().Deserialize(bytes, 15); }, "ipv6_address_serialization", 15},
  };
  for (const auto& [read, module, size] : cases) {
    const std::string have = std::to_string(size), need = std::to_string(size + 1);
    EXPECT_THAT(ThrownText<Exception::InvalidArgumentException>(read),
                MatchesRegex(std::string("serialization/") + module + ":Deserialize:[0-9]+: Buffer size \\[" + have +
                             "\\] lesser than value size \\[" + need + "\\]"));
  }
}

TEST(VariableLengthSerialization, TakesEveryByteWithoutLengthOrTerminator) {
  const unsigned char withNul[] = {0x61, 0x00, 0x62};
  EXPECT_EQ(StringSerialization().Deserialize(withNul, 3), std::make_pair(std::string("a\0b", 3), 3ul));
  EXPECT_EQ(RawBytesSerialization().Deserialize(withNul, 3), std::make_pair(Bytes{0x61, 0x00, 0x62}, 3ul));
  EXPECT_EQ(*StringSerialization().Serialize(std::string("a\0b", 3)), (Bytes{0x61, 0x00, 0x62}));
  // Empty values: a real, empty vector one way; an empty value and a count of 0 back.
  EXPECT_EQ(*RawBytesSerialization().Serialize({}), Bytes());
  EXPECT_EQ(StringSerialization().Deserialize(withNul, 0), std::make_pair(std::string(), 0ul));
}

TEST(Serializer, RefusesANullBufferEvenForZeroBytes) {
  EXPECT_THAT(ThrownText<Exception::LogicException>(
                  [] { Serializer<std::string, StringSerialization>::DeserializeWithOffset(nullptr, 0); }),
              MatchesRegex("serialization/serializer:DeserializeWithOffset:[0-9]+: Null pointer passed"));
}

// The serialize callback reads its field when called; the deserialize one stores the leading
// bytes, or nothing when it throws.
TEST(Serializer, CallbacksWorkOnTheFieldWhenCalled) {
  unsigned int field = 1;
  auto callback = Serializer<unsigned int, UInt32Serialization>::GenerateSerializeCallback(field);
  field = 0x0A0B0C0D;
  EXPECT_EQ(*callback(), (Bytes{0x0A, 0x0B, 0x0C, 0x0D}));

  unsigned long uptime = 0;
  auto setUptime = Serializer<unsigned long, UInt64Serialization>::GenerateDeserializeCallback(uptime);
  setUptime("\0\0\0\0\0\0\x01\x02\x7F", 9);
  EXPECT_EQ(uptime, 0x0102ul);
  EXPECT_THROW(setUptime("\x01\x02\x03", 3), Exception::InvalidArgumentException);
  EXPECT_THROW(setUptime(nullptr, 8), Exception::LogicException);
  EXPECT_EQ(uptime, 0x0102ul);
}

}  // namespace
