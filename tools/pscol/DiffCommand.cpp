#include "pscol/DiffCommand.h"

#include <nlohmann/json.hpp>
#include <optional>
#include <utility>
#include <vector>

#include "pscol/Text.h"
#include "pscol/ValueText.h"

namespace pscol {

namespace {

using Containers = std::map<psId, psContainerInfo>;

Containers containersOf(OpenStore& store) {
  psSurvey survey = store.survey();
  Containers containers;
  for (psDatabaseInfo& database : survey.databases) {
    for (psContainerInfo& container : database.containers) containers.emplace(container.id, std::move(container));
  }
  return containers;
}

std::vector<psId> idsOf(OpenStore& store, const psId& container) {
  std::vector<psId> ids;
  std::vector<psId> unreadable;
  require(store.session(), store.inspector().objects(
                               container,
                               [&ids](const psStoredObject& object) {
                                 ids.push_back(object.id);
                                 return true;
                               },
                               &unreadable));
  return ids;
}

// What an object is, for a comparison: two of the same text are the same.
std::string contentOf(const psStoredObject& object) {
  return object.className + ' ' + std::to_string(object.layout) + ' ' + fieldsJson(object).dump(-1, ' ', false);
}

std::string changedFields(const psStoredObject& before, const psStoredObject& after) {
  if (before.typeN != after.typeN) return before.className + " became " + after.className;
  const Json a = fieldsJson(before);
  const Json b = fieldsJson(after);
  std::string text;
  for (const auto& [name, value] : b.items()) {
    if (a.contains(name) && a[name] == value) continue;
    const auto shorten = [](const std::string& json) {
      constexpr std::size_t most = 60;
      return json.size() <= most ? json : json.substr(0, most) + "…";
    };
    text += (text.empty() ? "" : ", ") + name + ": " + (a.contains(name) ? shorten(a[name].dump()) : "nothing") +
            " → " + shorten(value.dump());
  }
  return text.empty() ? "stored in another layout" : text;
}

// Calls both for each element of two sorted lists: with the one that is only in the first, only in the second, or both.
template <class List, class Order, class Visit>
void merge(const List& a, const List& b, Order order, Visit visit) {
  auto x = a.begin();
  auto y = b.begin();
  while (x != a.end() || y != b.end()) {
    const bool takesX = x != a.end() && (y == b.end() || !order(*y, *x));
    const bool takesY = y != b.end() && (x == a.end() || !order(*x, *y));
    visit(takesX ? &*x : nullptr, takesY ? &*y : nullptr);
    if (takesX) ++x;
    if (takesY) ++y;
  }
}

std::vector<std::pair<std::string, psId>> namesIn(OpenStore& store, const psId& scope) {
  std::map<std::string, psId> names;
  require(store.session(), store.session().names(pstHandle<psObj>(scope), [&names](const psFiling& filing) {
    names.emplace((filing.kind == psFiling::Kind::name ? "" : "@") + filing.text, filing.object.oid());
    return true;
  }));
  return {names.begin(), names.end()};
}

}  // namespace

DiffCommand::DiffCommand() : Command("diff", "Show what differs between two stores, or a store and its backup") {
  file("before", "The file of the first store", &before_);
  file("after", "The file of the second store", &after_);
  option("--limit", "N", "How many differences are listed; 100 unless given, and 0 lists all", &limit_);
  details(
      "Containers, names and objects are compared by their identifiers, and objects by their fields. The parts of "
      "collections are objects too. The exit status is 1 when the stores differ.");
}

Status DiffCommand::run(Document& answer) {
  OpenStore before(before_, psVerify::none, OpenStore::Classes::asStored);
  OpenStore after(after_, psVerify::none, OpenStore::Classes::asStored);
  stores_[0] = &before;
  stores_[1] = &after;
  Document::Table& table =
      answer.table("differences", "", {{"change", "Change"}, {"id", "Identifier"}, {"path", "Path"}, {"what", "What"}});
  table_ = &table;
  compareNames(before.session().federation().oid());
  const Containers a = containersOf(before);
  const Containers b = containersOf(after);
  merge(
      a, b, [](const auto& x, const auto& y) { return x.first < y.first; },
      [this](const auto* x, const auto* y) {
        compareContainers(x != nullptr ? &x->second : nullptr, y != nullptr ? &y->second : nullptr);
      });
  answer.fact("differenceCount", differences_ == 0 ? "The stores are the same. Differences" : "\nDifferences",
              Cell::count(differences_));
  return differences_ == 0 ? Status::fine : Status::negative;
}

void DiffCommand::report(const char* change, const psId& id, OpenStore& store, const std::string& what) {
  if (++differences_ <= limit_ || limit_ == 0) table_->row({change, id, store.nameOf(id), what});
}

void DiffCommand::compareContainers(const psContainerInfo* before, const psContainerInfo* after) {
  if (before == nullptr || after == nullptr) {
    const psContainerInfo& only = before != nullptr ? *before : *after;
    report(before != nullptr ? "removed" : "added", only.id, *stores_[before != nullptr ? 0 : 1],
           "a container of " + countText(only.all.objects) + " objects");
    return;
  }
  if (before->name != after->name) report("renamed", after->id, *stores_[1], inQuotes(before->name) + " before");
  compareNames(after->id);
  compareObjects(after->id);
}

void DiffCommand::compareNames(const psId& scope) {
  merge(
      namesIn(*stores_[0], scope), namesIn(*stores_[1], scope),
      [](const auto& x, const auto& y) { return x.first < y.first; },
      [&](const auto* x, const auto* y) {
        if (x != nullptr && y != nullptr && x->second == y->second) return;
        if (y == nullptr)
          report("removed", x->second, *stores_[0], "the name " + inQuotes(x->first));
        else
          report(x == nullptr ? "added" : "changed", y->second, *stores_[1], "the name " + inQuotes(y->first));
      });
}

void DiffCommand::compareObjects(const psId& container) {
  merge(
      idsOf(*stores_[0], container), idsOf(*stores_[1], container), [](const psId& x, const psId& y) { return x < y; },
      [this](const psId* x, const psId* y) {
        psStoredObject a;
        psStoredObject b;
        if (x != nullptr) require(stores_[0]->session(), stores_[0]->inspector().object(*x, a));
        if (y != nullptr) require(stores_[1]->session(), stores_[1]->inspector().object(*y, b));
        if (y == nullptr) return report("removed", *x, *stores_[0], a.className + " {" + fieldsText(a) + "}");
        if (x == nullptr) return report("added", *y, *stores_[1], b.className + " {" + fieldsText(b) + "}");
        if (contentOf(a) != contentOf(b)) report("changed", *y, *stores_[1], b.className + " " + changedFields(a, b));
      });
}

}  // namespace pscol
