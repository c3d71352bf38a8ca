#pragma once
// The feed's XML reader on its own, for the fuzz target: what it reads has already passed the
// signature check in the library, but a bug here must not wait for a signed exploit.
#include <string>
#include <vector>
#include "orvamesh/upgrade/update_feed.h"

namespace ORVA::MESH::SDK::Upgrade {

// Throws FeedException for anything that is not a feed of well-formed items.
std::vector<FeedEntry> ParseFeed(const std::string& feed);

}  // namespace ORVA::MESH::SDK::Upgrade
