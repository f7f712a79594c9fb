// The few statements the web service runs itself, for what VideoMetadataAPI
// does not offer: whether the database answers at all (to tell a missing item
// from a database that is down), a poster's image bytes, and the list and
// removal of a user's collections. Each call opens its own connection through
// the platform's database access, so any thread may call them at any time.
#ifndef KINOLOT_TOOLS_SERVICE_QUERIES_H_
#define KINOLOT_TOOLS_SERVICE_QUERIES_H_

#include <json/json.h>

#include <string>

namespace kinolot_cli {

// True when a connection to the library's database opens and runs a query.
bool DatabaseAnswers();

// Sets `image` to the poster bytes stored for mapper `mapperId` (a decimal
// id). Returns 1 when found, 0 when the mapper has no poster, -1 when the
// database failed.
int ReadPoster(const std::string& mapperId, std::string& image);

// The media type of an image from its first bytes: image/jpeg, image/png,
// image/gif, image/webp, else application/octet-stream.
const char* ImageType(const std::string& image);

// Sets `collections` to [{"id", "title"}, ...], the collections of user
// `uid` (a decimal id) by title. Returns false when the database failed.
bool UserCollections(const std::string& uid, Json::Value& collections);

// Deletes collection `collectionId` of user `uid` and its membership rows.
// Returns 1 when deleted, 0 when the user has no such collection, -1 when the
// database failed.
int DeleteUserCollection(const std::string& uid, const std::string& collectionId);

}  // namespace kinolot_cli

#endif  // KINOLOT_TOOLS_SERVICE_QUERIES_H_
