// The change counter's route; see change_routes.h.
#include "change_routes.h"

#include <utility>

namespace kinolot_serve {

void AddChangeRoutes(ApiRoutes& routes, std::function<long()> changes) {
  routes.Get("/api/library-changes",
             [changes = std::move(changes)](const ApiRequest&, HttpResponse& response) {
               Json::Value answer(Json::objectValue);
               answer["changes"] = static_cast<Json::Int64>(changes());
               SendJson(response, answer);
             });
}

}  // namespace kinolot_serve
