// The route an open page polls to learn that the library changed under it
// (files added, changed, moved or removed by the server's folder watch), so
// that it shows its lists again without being reloaded by hand:
//
//   GET /api/library-changes          {"changes": n}
//
// (A name no video kind can have: the kind routes take every word after
// /api/.) n counts the changes since the server started; it only grows, and stays 0
// when the server watches no folders. Polling it costs no database work.
#ifndef KINOLOT_TOOLS_SERVE_CHANGE_ROUTES_H_
#define KINOLOT_TOOLS_SERVE_CHANGE_ROUTES_H_

#include <functional>

#include "api_request.h"

namespace kinolot_serve {

// `changes` tells the count; it is called on the request's thread and must
// not be empty.
void AddChangeRoutes(ApiRoutes& routes, std::function<long()> changes);

}  // namespace kinolot_serve

#endif  // KINOLOT_TOOLS_SERVE_CHANGE_ROUTES_H_
