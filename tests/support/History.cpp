#include "support/History.h"

#include <algorithm>
#include <cstdio>
#include <limits>
#include <memory>
#include <unordered_map>
#include <utility>

namespace ps::test {

namespace {

using Node = std::uint32_t;
constexpr Node none = std::numeric_limits<Node>::max();
constexpr std::size_t enoughAnomalies = 10;

enum class Why : std::uint32_t { wrote, replaced, readBefore, endedBefore };

struct Edge {
  Node from = 0;
  Node to = 0;
  Why why = Why::wrote;
  std::uint32_t datum = 0;
};

// The edges of a graph by the node at which they begin.
class Graph {
 public:
  Graph(std::size_t nodes, const std::vector<Edge>& edges) : begins_(nodes + 1), edges_(edges.size()) {
    for (const Edge& edge : edges) ++begins_[edge.from + 1];
    for (std::size_t i = 0; i < nodes; ++i) begins_[i + 1] += begins_[i];
    std::vector<std::size_t> at(begins_.begin(), begins_.end() - 1);
    for (const Edge& edge : edges) edges_[at[edge.from]++] = edge;
  }

  std::size_t nodes() const { return begins_.size() - 1; }
  std::size_t first(Node node) const { return begins_[node]; }
  std::size_t behind(Node node) const { return begins_[node + 1]; }
  const Edge& operator[](std::size_t edge) const { return edges_[edge]; }

 private:
  std::vector<std::size_t> begins_;
  std::vector<Edge> edges_;
};

// Tarjan's strongly connected components: two nodes are in the same one when a cycle goes through both.
class Components {
 public:
  explicit Components(const Graph& graph)
      : graph_(graph), of_(graph.nodes(), none), order_(graph.nodes(), none), low_(graph.nodes()) {
    for (Node node = 0; node < graph.nodes(); ++node) {
      if (order_[node] == none) search(node);
    }
  }

  Node of(Node node) const { return of_[node]; }

 private:
  void enter(Node node) {
    order_[node] = low_[node] = count_++;
    open_.push_back(node);
    path_.emplace_back(node, graph_.first(node));
  }

  void search(Node start) {
    enter(start);
    while (!path_.empty()) {
      auto& [node, edge] = path_.back();
      if (edge < graph_.behind(node)) {
        const Node to = graph_[edge++].to;
        if (order_[to] == none)
          enter(to);
        else if (of_[to] == none)
          low_[node] = std::min(low_[node], order_[to]);
      } else {
        const Node done = node;
        path_.pop_back();
        if (!path_.empty()) low_[path_.back().first] = std::min(low_[path_.back().first], low_[done]);
        if (low_[done] == order_[done]) close(done);
      }
    }
  }

  void close(Node root) {
    Node node = none;
    do {
      node = open_.back();
      open_.pop_back();
      of_[node] = root;
    } while (node != root);
  }

  const Graph& graph_;
  std::vector<Node> of_;
  std::vector<Node> order_;
  std::vector<Node> low_;
  Node count_ = 0;
  std::vector<Node> open_;
  std::vector<std::pair<Node, std::size_t>> path_;
};

// A shortest cycle through a node.
std::vector<Edge> cycleThrough(Node start, const Graph& graph, const Components& components) {
  std::unordered_map<Node, Edge> reachedBy;
  std::vector<Node> reached{start};
  for (std::size_t i = 0; i < reached.size() && reachedBy.count(start) == 0; ++i) {
    for (std::size_t e = graph.first(reached[i]); e < graph.behind(reached[i]); ++e) {
      const Edge& edge = graph[e];
      if (components.of(edge.to) == components.of(start) && reachedBy.emplace(edge.to, edge).second)
        reached.push_back(edge.to);
    }
  }
  std::vector<Edge> cycle;
  for (Node node = start; cycle.empty() || node != start; node = cycle.back().from) cycle.push_back(reachedBy.at(node));
  std::reverse(cycle.begin(), cycle.end());
  return cycle;
}

class Checker {
 public:
  explicit Checker(const std::vector<HistoryTransaction>& transactions) {
    for (const HistoryTransaction& transaction : transactions) {
      if (transaction.isCommitted) {
        committed_.push_back(&transaction);
        ++(isUpdate(transaction) ? verdict_.commits : verdict_.reads);
      } else {
        ++verdict_.aborts;
        for (const HistoryEvent& event : transaction.events)
          if (event.isWrite != 0 && event.made != 0) aborted_[event.datum][event.made] = transaction.number;
      }
    }
  }

  HistoryVerdict check() {
    std::map<std::uint32_t, std::vector<std::pair<Node, const HistoryEvent*>>> byDatum;
    for (Node i = 0; i < committed_.size(); ++i) {
      for (const HistoryEvent& event : committed_[i]->events) byDatum[event.datum].emplace_back(i, &event);
    }
    for (const auto& [datum, events] : byDatum) addDatum(datum, events);
    verdict_.dependencies = edges_.size();
    addTime();
    const Graph graph(2 * committed_.size(), edges_);
    const Components components(graph);
    std::unordered_map<Node, bool> isReported;
    for (Node i = 0; i < committed_.size(); ++i) {
      const Node component = components.of(i);
      const bool isInCycle = component != i || hasOther(i, graph, components);
      if (isInCycle && !std::exchange(isReported[component], true)) report(cycleThrough(i, graph, components));
    }
    return std::move(verdict_);
  }

 private:
  using Events = std::vector<std::pair<Node, const HistoryEvent*>>;

  // A stretch of time in which a datum was there: added by one transaction, and removed by another one, or none.
  struct Stretch {
    Node added = none;
    Node removed = none;
  };

  static bool isUpdate(const HistoryTransaction& transaction) {
    return std::any_of(transaction.events.begin(), transaction.events.end(),
                       [](const HistoryEvent& event) { return event.isWrite != 0; });
  }
  void complain(const std::string& anomaly) {
    if (verdict_.anomalies.size() < enoughAnomalies) verdict_.anomalies.push_back(anomaly);
  }
  std::string nameOf(Node i) const { return "transaction " + std::to_string(committed_[i]->number); }
  static std::string nameOfDatum(std::uint32_t datum) { return "datum " + std::to_string(datum); }

  void addEdge(Node from, Node to, Why why, std::uint32_t datum) {
    if (from != to && from != none && to != none) edges_.push_back({from, to, why, datum});
  }

  // The edges among those who have read or written one datum.
  void addDatum(std::uint32_t datum, const Events& events) {
    std::unordered_map<std::uint64_t, Node> makers;
    std::unordered_map<std::uint64_t, std::pair<Node, std::uint64_t>> replacers;  // and what they made of it
    for (const auto& [node, event] : events) {
      if (event->isWrite == 0) continue;
      if (event->made != 0 && !makers.emplace(event->made, node).second)
        complain(nameOf(node) + " made a version that another one made, of " + nameOfDatum(datum));
      if (event->seen != 0 && !replacers.emplace(event->seen, std::make_pair(node, event->made)).second)
        complain("lost update: " + nameOf(node) + " and " + nameOf(replacers[event->seen].first) +
                 " replaced the same version of " + nameOfDatum(datum));
    }
    for (const auto& [node, event] : events) {
      if (event->seen == 0) continue;
      const auto maker = makers.find(event->seen);
      if (maker == makers.end()) complain(nameOf(node) + whatWasRead(datum, event->seen));
      if (maker != makers.end()) addEdge(maker->second, node, Why::wrote, datum);
      const auto replacer = replacers.find(event->seen);
      if (event->isWrite == 0 && replacer != replacers.end())
        addEdge(node, replacer->second.first, Why::readBefore, datum);
    }
    addAbsences(datum, events, stretchesOf(datum, events, replacers));
  }

  std::string whatWasRead(std::uint32_t datum, std::uint64_t version) const {
    const auto versions = aborted_.find(datum);
    const auto found = versions != aborted_.end() ? versions->second.find(version) : decltype(versions->second.end())();
    const bool isAborted = versions != aborted_.end() && found != versions->second.end();
    return (isAborted ? " read what the aborted transaction " + std::to_string(found->second) + " wrote, of "
                      : " read version " + std::to_string(version) + ", which nobody made, of ") +
           nameOfDatum(datum);
  }

  // In the order in which they were. Whoever removes has begun after the removal before, so the removals began their
  // ends in that order.
  std::vector<Stretch> stretchesOf(std::uint32_t datum, const Events& events,
                                   const std::unordered_map<std::uint64_t, std::pair<Node, std::uint64_t>>& replacers) {
    std::vector<Stretch> stretches;
    for (const auto& [node, event] : events) {
      if (event->isWrite == 0 || event->seen != 0 || event->made == 0) continue;
      Stretch stretch{node, none};
      std::size_t steps = 0;
      for (auto next = replacers.find(event->made); next != replacers.end() && steps++ < events.size();
           next = replacers.find(next->second.second)) {
        if (next->second.second == 0) stretch.removed = next->second.first;
      }
      stretches.push_back(stretch);
    }
    const auto endOf = [this](const Stretch& stretch) {
      return stretch.removed != none ? committed_[stretch.removed]->ending : std::numeric_limits<std::uint64_t>::max();
    };
    std::sort(stretches.begin(), stretches.end(),
              [&](const Stretch& a, const Stretch& b) { return endOf(a) < endOf(b); });
    for (std::size_t i = 1; i < stretches.size(); ++i) {
      addEdge(stretches[i - 1].removed, stretches[i].added, Why::replaced, datum);
      if (stretches[i - 1].removed == none)
        complain(nameOf(stretches[i - 1].added) + " and " + nameOf(stretches[i].added) + " both added " +
                 nameOfDatum(datum));
    }
    return stretches;
  }

  // Who has found nothing comes after one stretch and before the next. Which ones, time tells: a snapshot is taken in a
  // begin. An update may also come later: if there is nothing again at its end, that is as good. Where a whole stretch
  // lies in that time, it may be on either side.
  void addAbsences(std::uint32_t datum, const Events& events, const std::vector<Stretch>& stretches) {
    for (const auto& [node, event] : events) {
      if (event->isWrite != 0 || event->seen != 0) continue;
      const HistoryTransaction& reader = *committed_[node];
      const std::uint64_t last = isUpdate(reader) ? reader.ended : reader.begun;
      const auto next = std::partition_point(stretches.begin(), stretches.end(), [&](const Stretch& stretch) {
        return stretch.removed != none && committed_[stretch.removed]->ending < last;
      });
      auto before = next;
      while (before != stretches.begin() && committed_[std::prev(before)->added]->ended > reader.called) --before;
      if (before != next) ++verdict_.undecided;
      if (before != stretches.begin()) addEdge(std::prev(before)->removed, node, Why::wrote, datum);
      if (next != stretches.end()) addEdge(node, next->added, Why::readBefore, datum);
    }
  }

  // A node for each moment at which a transaction ended leads from those before to those that began after it.
  void addTime() {
    const auto n = static_cast<Node>(committed_.size());
    std::vector<Node> byEnd(n);
    for (Node i = 0; i < n; ++i) byEnd[i] = i;
    std::sort(byEnd.begin(), byEnd.end(),
              [this](Node a, Node b) { return committed_[a]->ended < committed_[b]->ended; });
    for (Node i = 0; i < n; ++i) {
      addEdge(byEnd[i], n + i, Why::endedBefore, 0);
      if (i + 1 < n) addEdge(n + i, n + i + 1, Why::endedBefore, 0);
      const auto later = std::partition_point(
          byEnd.begin(), byEnd.end(), [&](Node other) { return committed_[other]->ended < committed_[i]->called; });
      if (later != byEnd.begin()) addEdge(n + static_cast<Node>(later - byEnd.begin()) - 1, i, Why::endedBefore, 0);
    }
  }

  static bool hasOther(Node node, const Graph& graph, const Components& components) {
    for (std::size_t e = graph.first(node); e < graph.behind(node); ++e) {
      if (components.of(graph[e].to) == components.of(node)) return true;
    }
    return false;
  }

  void report(const std::vector<Edge>& cycle) {
    const auto n = static_cast<Node>(committed_.size());
    std::string text = "a cycle: ";
    for (const Edge& edge : cycle) {
      if (edge.from >= n) continue;
      text += nameOf(edge.from);
      switch (edge.why) {
        case Why::wrote:
          text += " wrote what comes next read, " + nameOfDatum(edge.datum) + "; ";
          break;
        case Why::replaced:
          text += " removed what comes next added, " + nameOfDatum(edge.datum) + "; ";
          break;
        case Why::readBefore:
          text += " read what comes next replaced, " + nameOfDatum(edge.datum) + "; ";
          break;
        case Why::endedBefore:
          text += " ended before what comes next began; ";
          break;
      }
    }
    complain(text + "and so on");
  }

  std::vector<const HistoryTransaction*> committed_;
  std::unordered_map<std::uint32_t, std::unordered_map<std::uint64_t, std::uint64_t>> aborted_;
  std::vector<Edge> edges_;
  HistoryVerdict verdict_;
};

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

}  // namespace

void HistoryRecorder::read(std::uint32_t datum, std::uint64_t version) {
  const auto [found, isNew] = events_.emplace(datum, HistoryEvent{datum, 0, version, 0});
  const HistoryEvent& event = found->second;
  if (!isNew && version != (event.isWrite != 0 ? event.made : event.seen))
    complain("datum " + std::to_string(datum) + " is not what the transaction has read or written before");
}

void HistoryRecorder::write(std::uint32_t datum, std::uint64_t version) {
  HistoryEvent& event = events_.at(datum);
  event.isWrite = 1;
  event.made = version;
}

// What was there neither before nor after the transaction, it has only read.
std::vector<HistoryEvent> HistoryRecorder::events() const {
  std::vector<HistoryEvent> all;
  for (const auto& [datum, event] : events_) {
    all.push_back(event);
    if (event.seen == 0 && event.made == 0) all.back().isWrite = 0;
  }
  return all;
}

void saveHistory(const std::string& path, const std::vector<HistoryTransaction>& transactions) {
  const File file(std::fopen(path.c_str(), "ab"));
  for (const HistoryTransaction& one : transactions) {
    const std::uint64_t head[] = {
        one.number, one.called, one.begun, one.ending, one.ended, one.isCommitted ? 1U : 0U, one.events.size()};
    std::fwrite(head, sizeof head, 1, file.get());
    if (!one.events.empty()) std::fwrite(one.events.data(), sizeof(HistoryEvent), one.events.size(), file.get());
  }
}

void loadHistory(const std::string& path, std::vector<HistoryTransaction>& transactions) {
  const File file(std::fopen(path.c_str(), "rb"));
  std::uint64_t head[7];
  while (file != nullptr && std::fread(head, sizeof head, 1, file.get()) == 1) {
    HistoryTransaction one{head[0], head[1], head[2], head[3], head[4], head[5] != 0, {}};
    one.events.resize(head[6]);
    if (std::fread(one.events.data(), sizeof(HistoryEvent), head[6], file.get()) != head[6]) break;
    transactions.push_back(std::move(one));
  }
}

HistoryVerdict checkHistory(const std::vector<HistoryTransaction>& transactions) {
  return Checker(transactions).check();
}

}  // namespace ps::test
