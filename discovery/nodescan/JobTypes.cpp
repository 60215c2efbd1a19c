// SPDX-License-Identifier: Apache-2.0
// The one file that knows all job classes.
#include "discovery/nodescan/JobNodeScan.h"
#include "discovery/nodescan/JobSequence.h"
#include "discovery/scans/JobServiceScan.h"
#include "discovery/scans/JobStatusScan.h"

namespace KX::NMS::Discovery {

KXPtr<Job> createJobOfType(const String& scanType, KXEventLoop& loop, Repository& repository, const String& name,
                           unsigned number, const Property::Value& description) {
  if (scanType == "node") return KXPtr<Job>(new JobNodeScan(loop, repository, name, number, description));
  if (scanType == "service") return KXPtr<Job>(new JobServiceScan(loop, repository, name, number, description));
  if (scanType == "status") return KXPtr<Job>(new JobStatusScan(loop, repository, name, number, description));
  if (scanType == "sequence") return KXPtr<Job>(new JobSequence(loop, repository, name, number, description));
  return nullptr;
}

}  // namespace KX::NMS::Discovery
