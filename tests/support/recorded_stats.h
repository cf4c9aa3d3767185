// A statistic as its XML, for tests to compare.

#pragma once

#include <string>

#include "util/stats/stats.h"
#include "util/stats/stats_xml.h"

inline std::string Recorded(const UtStat& stat) {
    std::string text;
    XmlStatsWriter writer(&text);
    stat.write(writer);
    writer.Finish();
    return text;
}
