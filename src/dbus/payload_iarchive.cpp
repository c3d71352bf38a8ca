#include "dbus/payload_iarchive.h"

#include <boost/archive/detail/archive_serializer_map.hpp>
#include <boost/archive/impl/archive_serializer_map.ipp>
#include <boost/archive/impl/basic_binary_iarchive.ipp>
#include <boost/archive/impl/basic_binary_iprimitive.ipp>

namespace boost::archive {
using ORVA::MESH::SDK::Dbus::Detail::PayloadIArchive;
template class detail::archive_serializer_map<PayloadIArchive>;
template class basic_binary_iprimitive<PayloadIArchive, char, std::char_traits<char>>;
template class basic_binary_iarchive<PayloadIArchive>;
template class binary_iarchive_impl<PayloadIArchive, char, std::char_traits<char>>;
}  // namespace boost::archive
