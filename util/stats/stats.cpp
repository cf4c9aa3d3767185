// Resets, merges and writes statistics.

#include "util/stats/stats.h"

#include <array>

// --- UtStat ---

UtStat::UtStat(std::string name, std::string description)
    : name_(std::move(name)), description_(std::move(description)) {}

// By default nothing happens: most statistics need only some of these.
void UtStat::reset() {}
void UtStat::merge(const UtStat&) {}
void UtStat::start() {}
void UtStat::stop() {}
void UtStat::update() {}

void UtStat::Begin(StatsWriter& writer, std::string_view tag) const {
    writer.BeginElement(
        tag, std::array<StatsAttribute, 2>{{{"name", name_}, {"description", description_}}});
}

void UtStat::Leaf(StatsWriter& writer, std::string_view tag, std::string_view value) const {
    writer.LeafElement(
        tag, value,
        std::array<StatsAttribute, 2>{{{"name", name_}, {"description", description_}}});
}

// --- UtCounterStat ---

template <class Count>
void UtCounterStat<Count>::reset() {
    Set(0);
}

template <class Count>
void UtCounterStat<Count>::merge(const UtStat& other) {
    if (const auto* same = dynamic_cast<const UtCounterStat*>(&other)) Add(same->Value());
}

template <class Count>
void UtCounterStat<Count>::write(StatsWriter& writer) const {
    Leaf(writer, "int", std::to_string(Value()));
}

// Two different classes, so a merge of one with the other adds nothing.
template class UtCounterStat<unsigned int>;
template class UtCounterStat<unsigned long>;

// --- UtMemStat ---

void UtMemStat::reset() {
    current_ = 0;
    peak_ = 0;
}

void UtMemStat::merge(const UtStat& other) {
    const auto* same = dynamic_cast<const UtMemStat*>(&other);
    if (!same) return;
    current_ += same->current_;
    peak_ += same->peak_;
}

void UtMemStat::write(StatsWriter& writer) const {
    Begin(writer, "memory");
    writer.LeafElement("peak", std::to_string(peak_), {});
    writer.LeafElement("current", std::to_string(current_), {});
    writer.EndElement("memory", true);
}

// --- UtStringStat ---

void UtStringStat::merge(const UtStat& other) {
    const auto* same = dynamic_cast<const UtStringStat*>(&other);
    if (same && value_.empty()) value_ = same->value_;
}

void UtStringStat::write(StatsWriter& writer) const {
    Leaf(writer, "string", value_);
}

// --- UtSetStat ---

template <class Value>
void UtSetStat<Value>::reset() {
    values_.clear();
}

template <class Value>
void UtSetStat<Value>::merge(const UtStat& other) {
    const auto* same = dynamic_cast<const UtSetStat*>(&other);
    // Not with itself: a set must not insert its own range.
    if (same && same != this) values_.insert(same->values_.begin(), same->values_.end());
}

template <class Value>
void UtSetStat<Value>::write(StatsWriter& writer) const {
    Begin(writer, "set");
    for (const Value& value : values_) writer.LeafElement("member", value, {});
    writer.EndElement("set", true);
}

template class UtSetStat<std::string>;

// --- UtStatsList ---

UtStatsList::UtStatsList(std::string kind, std::string name, std::string description)
    : UtStat(std::move(name), std::move(description)), kind_(std::move(kind)) {}

void UtStatsList::reset() {
    for (UtStat* member : members_) member->reset();
}

void UtStatsList::merge(const UtStat& other) {
    const auto* same = dynamic_cast<const UtStatsList*>(&other);
    if (!same) return;
    // Two lists of one class match completely; two others match as far as the shorter goes.
    const std::size_t pairs = std::min(members_.size(), same->members_.size());
    for (std::size_t i = 0; i < pairs; ++i) members_[i]->merge(*same->members_[i]);
}

void UtStatsList::write(StatsWriter& writer) const {
    // "kind" is last: a list without a kind writes the first two.
    const std::array<StatsAttribute, 3> attributes{
        {{"name", Name()}, {"description", Description()}, {"kind", kind_}}};
    writer.BeginElement("stats", std::span(attributes).first(kind_.empty() ? 2 : 3));
    for (const UtStat* member : members_) member->write(writer);
    writer.EndElement("stats", true);
}

void UtStatsList::start() {
    for (UtStat* member : members_) member->start();
}

void UtStatsList::stop() {
    for (UtStat* member : members_) member->stop();
}

void UtStatsList::update() {
    for (UtStat* member : members_) member->update();
}

bool UtStatsList::add(UtStat* stat) {
    if (!stat || stat == this) return false;
    // A cycle of lists would write itself without end.
    const auto* list = dynamic_cast<const UtStatsList*>(stat);
    if (list && list->LeadsTo(this)) return false;
    members_.push_back(stat);
    return true;
}

void UtStatsList::AddAll(std::initializer_list<UtStat*> stats) {
    members_.insert(members_.end(), stats.begin(), stats.end());
}

/// Whether `list` is a member at any depth. Ends, because add() allows no cycle.
bool UtStatsList::LeadsTo(const UtStatsList* list) const {
    return std::any_of(members_.begin(), members_.end(), [list](const UtStat* member) {
        const auto* inner = dynamic_cast<const UtStatsList*>(member);
        return inner && (inner == list || inner->LeadsTo(list));
    });
}
