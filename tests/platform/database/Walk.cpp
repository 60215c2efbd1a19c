// SPDX-License-Identifier: Apache-2.0
#include "Walk.h"

#include "platform/database/Queries.h"
#include "platform/database/Transaction.h"

namespace {

constexpr DB::ObjectType_ TYPE = DB::ObjectType_::INSTANCE;
constexpr DB::ObjectStatus_ STATUS = DB::ObjectStatus_::ACTIVE;

std::string textOf(const String& text) { return std::string(text.view()); }

std::string addressesOf(const DB::Ptr<DB::Entry::IpInterface>& interface) {
  using Query = DB::Table::IpInterfaceAddress::QueryByParentTypeStatusByKey;
  std::string text;
  Query addresses(Query::Key(interface, TYPE, STATUS));
  for (addresses.begin(); addresses.iterate(); addresses.moveNext()) {
    const DB::Ptr<DB::Entry::IpInterfaceAddress> address = *addresses;
    IpAddress subnet;
    if (address->subnet.get(subnet).isErr()) {
      text += " ?";
      continue;
    }
    unsigned prefix = 0;
    for (std::uint32_t mask = subnet.getV4NetMaskAsBinaryUInt32(); mask != 0; mask <<= 1U) ++prefix;
    text += " " + textOf(subnet.toString()) + "/" + std::to_string(prefix);
  }
  return text;
}

std::string describe(const DB::Ptr<DB::Entry::IpInterface>& interface) {
  std::string text = "- " + textOf(interface->name.get());
  const DB::Ptr<DB::Entry::DynIf> bound = interface->dynIf;
  const char* missing = interface->dynIf.isSet() ? "none" : "unset";
  text += " " + (bound != nullptr ? textOf(bound->name.get()) : std::string(missing));
  const DB::IpIfState_ state = interface->state.get();
  text += " " + (state == DB::IpIfState_::UP ? "up" : std::to_string(static_cast<int>(state)));
  return text + addressesOf(interface) + "\n";
}

}  // namespace

std::string walkInTransaction() {
  using Contexts = DB::Table::ContextIp::QueryAllByKey;
  using Interfaces = DB::Table::IpInterface::QueryByParentTypeStatusByKey;
  std::string text;
  Contexts contexts(DB::Table::Cfg::QueryAllByKey::Key(TYPE, STATUS));
  for (contexts.begin(); contexts.iterate(); contexts.moveNext()) {
    const DB::Ptr<DB::Entry::ContextIp> context = *contexts;
    text += "context " + textOf(context->name.get()) + "\n";
    Interfaces interfaces(Interfaces::Key(context, TYPE, STATUS));
    for (interfaces.begin(); interfaces.iterate(); interfaces.moveNext()) text += describe(*interfaces);
  }
  return text;
}

Walk walk() {
  DB::Transaction transaction;
  Walk walk;
  walk.result = transaction.start();
  if (walk.result.isErr()) return walk;
  walk.text = walkInTransaction();
  walk.result = transaction.commit();
  return walk;
}
