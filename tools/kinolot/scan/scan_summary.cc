// The scan's summary in text and JSON; see scan_summary.h.
#include "scan_summary.h"

#include <cstdio>

namespace kinolot_scan {
namespace {

Json::Value IssuesJson(const std::vector<PathIssue>& issues) {
  Json::Value list(Json::arrayValue);
  for (const PathIssue& issue : issues) {
    Json::Value entry(Json::objectValue);
    entry["path"] = issue.path;
    entry["reason"] = issue.reason;
    list.append(entry);
  }
  return list;
}

void AppendIssues(const char* label, const std::vector<PathIssue>& issues, std::string* text) {
  for (const PathIssue& issue : issues) {
    *text += std::string(label) + ": " + issue.path + ": " + issue.reason + "\n";
  }
}

}  // namespace

Json::Value SummaryJson(const ScanSummary& summary) {
  Json::Value json(Json::objectValue);
  json["folders"] = Json::Value(Json::arrayValue);
  for (const std::string& folder : summary.folders) json["folders"].append(folder);
  json["found"] = static_cast<Json::Int64>(summary.found);
  json["added"] = static_cast<Json::Int64>(summary.added);
  json["updated"] = static_cast<Json::Int64>(summary.updated);
  json["unchanged"] = static_cast<Json::Int64>(summary.unchanged);
  json["removed"] = static_cast<Json::Int64>(summary.removed);
  json["moved"] = static_cast<Json::Int64>(summary.moved);
  json["failed"] = IssuesJson(summary.failed);
  json["skipped"] = IssuesJson(summary.skipped);
  json["warnings"] = IssuesJson(summary.warnings);
  json["seconds"] = summary.seconds;
  return json;
}

std::string SummaryText(const ScanSummary& summary) {
  char counts[256];
  snprintf(counts, sizeof(counts),
           "%ld found: %ld added, %ld updated, %ld unchanged, %ld removed, %zu failed, "
           "%ld moved (%.1f s)\n",
           summary.found, summary.added, summary.updated, summary.unchanged, summary.removed,
           summary.failed.size(), summary.moved, summary.seconds);
  std::string text = counts;
  AppendIssues("failed", summary.failed, &text);
  AppendIssues("warning", summary.warnings, &text);
  AppendIssues("skipped", summary.skipped, &text);
  return text;
}

}  // namespace kinolot_scan
