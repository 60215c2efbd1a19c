// SPDX-License-Identifier: Apache-2.0
#include "tests/discovery/scheduling/ScriptedJobs.h"

#include <ccronexpr.h>

using KX::NMS::Discovery::ScriptedJobs;

// The linker has every call of the library's functions come here.
extern "C" {
void __real_cron_parse_expr(const char* expression, cron_expr* target, const char** error);
time_t __real_cron_next(cron_expr* expr, time_t date);
void __wrap_cron_parse_expr(const char* expression, cron_expr* target, const char** error);
time_t __wrap_cron_next(cron_expr* expr, time_t date);

void __wrap_cron_parse_expr(const char* expression, cron_expr* target, const char** error) {
  __real_cron_parse_expr(expression, target, error);
  if (ScriptedJobs::cronError != nullptr) *error = ScriptedJobs::cronError;
}

time_t __wrap_cron_next(cron_expr* expr, time_t date) {
  return ScriptedJobs::cronNeverMatches ? -1 : __real_cron_next(expr, date);
}
}

namespace KX::NMS::Discovery {

std::vector<KXPtr<TestJob>> ScriptedJobs::made;
std::vector<std::string> ScriptedJobs::attempts;
const char* ScriptedJobs::cronError = nullptr;
bool ScriptedJobs::cronNeverMatches = false;

void ScriptedJobs::reset() {
  made.clear();
  attempts.clear();
  cronError = nullptr;
  cronNeverMatches = false;
}

// In place of the library's, which would bring the real jobs along.
KXPtr<Job> createJobOfType(const String& scanType, KXEventLoop& loop, Repository& repository, const String& name,
                           unsigned number, const Property::Value& description) {
  ScriptedJobs::attempts.push_back(String::format("%s %s.%u", scanType.c_str(), name.c_str(), number).c_str());
  if (scanType.view().starts_with("unknown")) return nullptr;
  const KXPtr<TestJob> job(new TestJob(loop, repository, name, number, description));
  ScriptedJobs::made.push_back(job);
  return job;
}

}  // namespace KX::NMS::Discovery
