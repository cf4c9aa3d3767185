// The `UtStat` family: counts, memory figures, texts and sets, grouped into lists.
//
// Units      memory in bytes; counts wrap around at the end of their type.
// Errors     none; a merge with a statistic of another class changes nothing.
// Ownership  a statistic copies its texts; a list borrows its members, which outlive it.
// Threads    each thread counts in statistics of its own. Counters and high-resolution timers may
//            be read and merged from another thread at any time, while their one owner counts;
//            everything else belongs to one thread at a time. Names and descriptions never change.
//
// Every written element has the attributes "name" and "description":
//
//   class            element    holds
//   UtCounterStat    int        the count
//   UtStringStat     string     the text
//   UtMemStat        memory     leaves "peak" and "current"
//   UtSetStat        set        a leaf "member" for each
//   UtStatsList      stats      the members' elements; a third attribute "kind" if it is not empty
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
    UtStat(const UtStat&) = delete;  // a list with a copy and its original would count twice
    UtStat& operator=(const UtStat&) = delete;
    virtual ~UtStat() = default;

    /// Sets counts, memory figures and times to 0 and empties sets; texts stay.
    virtual void reset();

    /// Adds the figures of `other` if it is of the same class.
    virtual void merge(const UtStat& other);

    /// Writes the statistic's element.
    virtual void write(StatsWriter& writer) const = 0;

    /// Begins a measured run: a statistic that reports differences stores the system's figures
    /// here. A second call before stop() changes nothing.
    virtual void start();

    /// Ends the run: adds what was measured since start(), which grows no further.
    virtual void stop();

    /// Reads the figures that come from the system. To be called just before write() or merge(),
    /// during a run or after it.
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

/// Bytes in use, and the largest number so far.
class UtMemStat : public UtStat {
public:
    using UtStat::UtStat;

    /// `bytes`: negative for memory that is freed. May be more than was added here: a thread may
    /// free memory that another thread's statistic has counted.
    void Add(std::int64_t bytes) { Set(current_ + bytes); }
    void Set(std::int64_t bytes) {
        current_ = bytes;
        RaisePeak(bytes);
    }
    /// For a peak that other code has measured.
    void RaisePeak(std::int64_t bytes) { peak_ = std::max(peak_, bytes); }

    std::int64_t Current() const { return current_; }
    std::int64_t Peak() const { return peak_; }

    void reset() override;
    /// Adds both figures. The sum of two peaks may be larger than the true peak, because they may
    /// have occurred at different times.
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

    /// Replaces the text. While it is empty, a merge sets it.
    void Set(std::string value) { value_ = std::move(value); }
    const std::string& Value() const { return value_; }

    /// Takes the other's text if its own is empty.
    void merge(const UtStat& other) override;
    void write(StatsWriter& writer) const override;

private:
    std::string value_;
};

/// A set of texts, sorted by their bytes. `Value`: std::string.
template <class Value>
class UtSetStat : public UtStat {
public:
    using UtStat::UtStat;

    /// Adding a text that is in the set changes nothing.
    void Add(Value value) { values_.insert(std::move(value)); }
    const std::set<Value>& Values() const { return values_; }

    void reset() override;
    /// Becomes the union of both sets.
    void merge(const UtStat& other) override;
    void write(StatsWriter& writer) const override;

private:
    std::set<Value> values_;
};
extern template class UtSetStat<std::string>;

/// Statistics in a fixed order, written as one element. Each call on the list calls every member,
/// in that order.
class UtStatsList : public UtStat {
public:
    /// `kind`: "section" for a part of the report; empty for none.
    UtStatsList(std::string kind, std::string name, std::string description);

    const std::string& Kind() const { return kind_; }
    /// The members in the order in which they were added; borrowed.
    const std::vector<UtStat*>& Members() const { return members_; }

    void reset() override;
    /// Merges the members at equal positions, as far as both lists have them. A pair of different
    /// classes stays as it is.
    void merge(const UtStat& other) override;
    void write(StatsWriter& writer) const override;
    void start() override;
    void stop() override;
    void update() override;

    /// Appends `stat`. False: it is null, this list, or a list that contains this one at any depth.
    virtual bool add(UtStat* stat);

protected:
    /// Appends the members of a derived list; for its constructor.
    void AddAll(std::initializer_list<UtStat*> stats);

private:
    bool LeadsTo(const UtStatsList* list) const;

    const std::string kind_;
    std::vector<UtStat*> members_;
};
