// The routes of the signed-in user's collections. Every call acts for the
// user the request's token names (on a loopback server without tokens, the
// server's default user); another user's collection is answered as unknown.
//
//   GET    /api/collections                          {"collections": [{"id", "title"}, ...]}
//   POST   /api/collections  {"title"}               {"id"}: created, or the one with that title
//   GET    /api/collections/ID?offset&limit&sort&order&additional
//          its videos (Collection_VideoList); sort is sort_title or sort_time
//   GET    /api/collections/ID/search?title&actor&director&writer&genre&...
//          its videos matching any of the fragments (Collection_Search)
//   DELETE /api/collections/ID                       {"deleted": true}
//   POST   /api/collections/ID/videos {"kind", "id"} adds a video; {"added": true}
//   DELETE /api/collections/ID/videos/KIND/VIDEO     removes it; {"removed": true}
#ifndef KINOLOT_TOOLS_SERVE_COLLECTION_ROUTES_H_
#define KINOLOT_TOOLS_SERVE_COLLECTION_ROUTES_H_

#include "api_request.h"

namespace kinolot_serve {

void AddCollectionRoutes(ApiRoutes& routes);

}  // namespace kinolot_serve

#endif  // KINOLOT_TOOLS_SERVE_COLLECTION_ROUTES_H_
