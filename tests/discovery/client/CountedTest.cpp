// SPDX-License-Identifier: Apache-2.0
// Objects that count their references live on the heap only: the compiler refuses them anywhere else.
#include <gtest/gtest.h>

#include <type_traits>

#include "discovery/client/CClient.h"
#include "discovery/nodescan/JobNodeScan.h"
#include "discovery/nodescan/JobSequence.h"
#include "discovery/scans/JobServiceScan.h"
#include "discovery/scans/JobStatusScan.h"
#include "discovery/scheduling/Scheduler.h"
#include "platform/database/Connection.h"
#include "platform/database/Entries.h"
#include "platform/process/ProcessFuture.h"
#include "platform/text/KXRegEx.h"

namespace KX::NMS::Discovery {
namespace {

template <class T>
class CountedTest : public testing::Test {};

using CountedClasses =
    testing::Types<RefCounted, RefCountedUnlessBeingDestroying, CObject, IFuture, CService, Shell::ProcessFuture,
                   KXRegEx::Pattern, DB::Connection, DB::Entry::Row, DB::Entry::ContextIp, DB::Entry::DynIf,
                   DB::Entry::IpInterface, DB::Entry::IpInterfaceAddress, Node, Scan, Job, JobServiceScan,
                   JobStatusScan, JobNodeScan, JobSequence, ScheduledJob, Scheduler, CClientDiscoveryService, CClient>;
TYPED_TEST_SUITE(CountedTest, CountedClasses);

TYPED_TEST(CountedTest, ObjectCannotBeOnTheStack) { EXPECT_FALSE(std::is_destructible_v<TypeParam>); }

}  // namespace
}  // namespace KX::NMS::Discovery
