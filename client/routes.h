#ifndef ROUTES_H
#define ROUTES_H

/** The routes of the interface, as a request names them. */
namespace Routes {

constexpr char info[] = "/info";
constexpr char technician[] = "/api/v1/techinfo";
constexpr char workOrderList[] = "/api/workflow/v1/list";
constexpr char workOrders[] = "/api/workflow/v1/workorders";
constexpr char workOrder[] = "/api/workflow/v1/workorder/";
constexpr char active[] = "/api/workflow/v1/active";
constexpr char templates[] = "/api/workflow/v1/templates";
constexpr char pendingFiles[] = "/api/syncfiles/v1/pendingfiles";
constexpr char allPendingFiles[] = "/api/syncfiles/v1/pendingfiles/all";
constexpr char syncMetadata[] = "/api/syncfiles/v1/metadata";
constexpr char syncFiles[] = "/api/syncfiles/v1/userfiles";
constexpr char userFiles[] = "/api/filemgr/v2/userfiles";
constexpr char metadata[] = "/api/filemgr/v2/metadata";

} // namespace Routes

#endif
