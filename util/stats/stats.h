// The `UtStat` family: counts, memory figures, texts and sets, grouped into lists.
//
// Units      memory in bytes; counts are plain numbers that wrap at the end of their type.
// Errors     none; a merge with a statistic of another class changes nothing.
// Ownership  a statistic copies its texts; a list borrows its members, which outlive it.
// Threads    each thread counts in statistics of its own. Counters and high-resolution timers may
//            be read and merged from another thread at any time, while their one owner counts;
//            everything else belongs to one thread at a time. Names and descriptions never change.
//
// Written elements carry the attributes "name" and "description":
//
//   class            element    holds
//   UtCounterStat    int        the count
//   UtStringStat     string     the text
//   UtMemStat        memory     leaves "peak" and "current"
//   UtSetStat        set        a leaf "member" for each
//   UtStatsList      stats      the members' elements; a third attribute "kind" when it has one
//
// The timers are in util/stats/stats_timers.h, the process's own figures in
// util/stats/process_stats.h.

#pragma once

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <initializer_list>
#include <set>
#include <string>
#include <vector>

#include "util/stats/stats_writer.h"

/// A named figure that is kept while the program runs.
class UtStat {
public:
    /// `name` is the key in reports, `description` what a person reads.
    UtStat(std::string name, std::string description);
    UtStat(const UtStat&) = delete;  // a copy in a list beside its original would count twice
    UtStat& operator=(const UtStat&) = delete;
    virtual ~UtStat() = default;

    /// Counts, memory figures and times start again at 0, sets are emptied; texts stay.
    virtual void reset();

    /// Takes the figures of `other` in, when that is of the same class.
    virtual void merge(const UtStat& other);

    /// Writes the statistic's element.
    virtual void write(StatsWriter& writer) const = 0;

    /// The run that is measured begins: what compares the system's figures with earlier ones
    /// takes these. A second call before stop() changes nothing.
    virtual void start();

    /// The run ends: what start() began to measure is added up and no longer grows.
    virtual void stop();

    /// Brings in what is not counted but asked of the system. For just before write() or merge(),
    /// in the middle of a run as well as behind its end.
    virtual void update();

    const std::string& Name() const { return name_; }
    const std::string& Description() const { return description_; }

protected:
    /// Opens the statistic's element, with its name and description.
    void Begin(StatsWriter& writer, std::string_view tag) const;

    /// Writes the statistic as a leaf, with its name and description.
    void Leaf(StatsWriter& writer, std::string_view tag, std::string_view value) const;

private:
    const std::string name_;
    const std::string description_;
};

/// How often something happened. `Count`: unsigned int or unsigned long.
///
/// The count is atomic, so that reports may read it while its one owner counts. Load and store are
/// separate: an atomic increment would lock the bus for a race that one writer cannot have.
template <class Count>
class UtCounterStat : public UtStat {
public:
    using UtStat::UtStat;

    /// Cheap enough for the innermost loop. Caller: is the owner.
    void Add(Count amount) { Set(Value() + amount); }
    void Set(Count count) { count_.store(count, std::memory_order_relaxed); }
    Count Value() const { return count_.load(std::memory_order_relaxed); }

    void reset() override;
    void merge(const UtStat& other) override;
    void write(StatsWriter& writer) const override;

private:
    std::atomic<Count> count_{0};
};
extern template class UtCounterStat<unsigned int>;
extern template class UtCounterStat<unsigned long>;

/// Bytes in use, and the most that ever were.
class UtMemStat : public UtStat {
public:
    using UtStat::UtStat;

    /// `bytes`: negative for what is given back, which may be more than this statistic has seen
    /// taken: another thread's may hold it.
    void Add(std::int64_t bytes) { Set(current_ + bytes); }
    void Set(std::int64_t bytes) {
        current_ = bytes;
        RaisePeak(bytes);
    }
    /// For a peak that somebody else has watched.
    void RaisePeak(std::int64_t bytes) { peak_ = std::max(peak_, bytes); }

    std::int64_t Current() const { return current_; }
    std::int64_t Peak() const { return peak_; }

    void reset() override;
    /// Adds both figures: peaks that may not have met in time count as if they had.
    void merge(const UtStat& other) override;
    void write(StatsWriter& writer) const override;

private:
    std::int64_t current_ = 0;
    std::int64_t peak_ = 0;
};

/// A text, such as a name or a version.
class UtStringStat : public UtStat {
public:
    using UtStat::UtStat;

    /// Replaces the text; an empty one lets a merge bring another in.
    void Set(std::string value) { value_ = std::move(value); }
    const std::string& Value() const { return value_; }

    /// Keeps its own text, unless that is empty.
    void merge(const UtStat& other) override;
    void write(StatsWriter& writer) const override;

private:
    std::string value_;
};

/// Texts that occurred, each once, in the order of their bytes. `Value`: std::string.
template <class Value>
class UtSetStat : public UtStat {
public:
    using UtStat::UtStat;

    /// Adding what is there already changes nothing.
    void Add(Value value) { values_.insert(std::move(value)); }
    const std::set<Value>& Values() const { return values_; }

    void reset() override;
    /// Afterwards holds what either held.
    void merge(const UtStat& other) override;
    void write(StatsWriter& writer) const override;

private:
    std::set<Value> values_;
};
extern template class UtSetStat<std::string>;

/// Statistics in a fixed order, written as one element. What happens to the list happens to each
/// member, in that order.
class UtStatsList : public UtStat {
public:
    /// `kind`: "section" for a part of the report; empty for none.
    UtStatsList(std::string kind, std::string name, std::string description);

    const std::string& Kind() const { return kind_; }
    /// In the order in which they were added; not owned.
    const std::vector<UtStat*>& Members() const { return members_; }

    void reset() override;
    /// Merges the members at the same position, as far as both lists go; pairs of different
    /// classes stay as they are.
    void merge(const UtStat& other) override;
    void write(StatsWriter& writer) const override;
    void start() override;
    void stop() override;
    void update() override;

    /// Appends `stat`. False: it is null, or this list, or a list that leads back to this one.
    virtual bool add(UtStat* stat);

protected:
    /// Appends what a derived list consists of; its constructor calls this.
    void AddAll(std::initializer_list<UtStat*> stats);

private:
    bool LeadsTo(const UtStatsList* list) const;

    const std::string kind_;
    std::vector<UtStat*> members_;
};
