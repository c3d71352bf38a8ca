#include <gtest/gtest.h>

#include <cstring>

#include <boost/archive/archive_exception.hpp>
#include <string>

#include "dbus/payload_iarchive.h"
#include "orvamesh/dbus/mesh_gdbus_serialize.h"
#include "orvamesh/base/exception.h"
#include "support/mesh_samples.h"

namespace {

using namespace ORVA::MESH::SDK;
using namespace ORVA::MESH::SDK::Dbus;
namespace sample = orva::test::sample;

std::string BytesOf(const GVariantWrapper& wrapper) { return GVariantAYUnwrapper(wrapper).Unwrap(); }

TEST(GVariantWrapper, AdoptsSinksAndDropsItsReference) {
  GVariant* held = g_variant_ref_sink(g_variant_new_uint32(5));
  {
    GVariantWrapper wrapper(g_variant_ref(held));
    EXPECT_EQ(wrapper.GetGVariant(), held);
  }
  // Only our own reference is left.
  EXPECT_FALSE(g_variant_is_floating(held));
  GVariantWrapper floating(g_variant_new_string("x"));
  EXPECT_FALSE(g_variant_is_floating(floating.GetGVariant()));
  g_variant_unref(held);
}

TEST(GVariantWrapper, RefusesMisuseByState) {
  EXPECT_THROW(GVariantWrapper(nullptr), Exception::InvalidArgumentException);
  GVariantWrapper empty;
  EXPECT_THROW(empty.GetGVariant(), Exception::RuntimeException);
  *empty.LateInitWithRaw() = g_variant_ref_sink(g_variant_new_boolean(TRUE));
  EXPECT_TRUE(empty.IsSet());
  EXPECT_THROW(empty.LateInitWithRaw(), Exception::RuntimeException);
  GVariantWrapper moved(std::move(empty));
  EXPECT_TRUE(moved.IsSet());
  EXPECT_FALSE(empty.IsSet());
}

TEST(GVariantBuilderWrappers, RefuseTypesTheyCannotBuildOrUnwrap) {
  for (const std::string type : {"q?", "u"}) {
    EXPECT_THROW(GVariantBuilderWrapper{type}, Exception::InvalidArgumentException) << type;
  }
  GVariantWrapper text(g_variant_new_string("ay"));
  EXPECT_THROW(GVariantAYUnwrapper{text}, Exception::InvalidArgumentException);
  GVariantWrapper empty;
  EXPECT_THROW(GVariantAYUnwrapper{empty}, Exception::RuntimeException);
}

// The one-step conversion must give the very value the byte-by-byte builder gives.
TEST(ObjectToGVariant, EqualsTheValueBuiltByteByByte) {
  const auto value = sample::Nodes(3);
  const GVariantWrapper direct = ObjectToGVariant(value);
  GVariantAYBuilderWrapper builder;
  for (unsigned char byte : BytesOf(direct)) builder.Add(byte);
  const GVariantWrapper built = builder.GenGVariant();
  EXPECT_TRUE(g_variant_equal(direct.GetGVariant(), built.GetGVariant()));
  EXPECT_STREQ(g_variant_get_type_string(direct.GetGVariant()), "ay");
}

TEST(PayloadReader, ACountBeyondTheBytesLeftFailsBeforeAnythingIsAllocated) {
  // A vector of node ids claiming 2^40 elements, then four bytes.
  std::string bytes(8, '\0');
  const uint64_t count = uint64_t{1} << 40;
  std::memcpy(bytes.data(), &count, sizeof count);
  bytes += std::string(4, '\x01');
  EXPECT_THROW(Dbus::Detail::DecodePayload<Client::NodeIdList>(BytesToGVariant(bytes)),
               boost::archive::archive_exception);
  EXPECT_THROW(Dbus::Detail::DecodePayload<Client::NodeInfoMap>(BytesToGVariant(bytes)),
               boost::archive::archive_exception);
}

TEST(PayloadReader, ABoolByteOtherThanZeroOrOneIsADamagedPayload) {
  const std::string good = BytesOf(ObjectToGVariant(Client::LedBlinkingMap{{7, true}}));
  ASSERT_EQ(good.back(), '\x01');
  for (char damaged : {'\x02', '\x0a', '\xff'}) {
    std::string bytes = good;
    bytes.back() = damaged;
    EXPECT_THROW(Dbus::Detail::DecodePayload<Client::LedBlinkingMap>(BytesToGVariant(bytes)),
                 boost::archive::archive_exception);
  }
}

}  // namespace
