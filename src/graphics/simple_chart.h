#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "graphics/chart.h"
#include "tessaron_export.h"

/// One item of a chart. A value: each thread may use its own.
struct TESSARON_API scdata {
  std::u16string name;     ///< the label
  std::int32_t count = 0;  ///< number of things that the item represents
  float value = 0;         ///< weight; after normalizing, the share of the total in percent

  scdata();
  scdata(std::u16string itemName, std::int32_t itemCount, float itemValue);
  scdata(const scdata&);
  scdata(scdata&&) noexcept;
  scdata& operator=(const scdata&);
  scdata& operator=(scdata&&) noexcept;
  ~scdata();
};

/// The order of the items: by value, greatest first, then by name, code unit by code unit. Any
/// number of threads may use it. QUIRK: NaN is ordered neither before nor after any value, which is
/// no order to sort by. Kept: applications compare with it; `sortdata` keeps such values apart.
struct TESSARON_API SortSCData {
  bool operator()(const scdata& a, const scdata& b) const;
};

/// A chart's data: labelled items that can be merged, sorted, turned into percentages and printed.
/// One thread at a time.
class TESSARON_API GPSimpleChart : public GPChart {
 public:
  std::vector<scdata> items;  ///< in the order fed or, once sorted, that of `SortSCData`
  float total = 0;            ///< 100 after `normalize`

  GPSimpleChart();
  GPSimpleChart(const GPSimpleChart&);
  GPSimpleChart(GPSimpleChart&&) noexcept;
  GPSimpleChart& operator=(const GPSimpleChart&);
  GPSimpleChart& operator=(GPSimpleChart&&) noexcept;
  ~GPSimpleChart();

  using GPChart::feed;
  /// Appends a copy of `item`. Always true.
  virtual bool feed(const scdata& item);
  /// Removes all items; `total` stays. Always true.
  bool clear();
  /// Sorts the items; those with the value NaN come last, in the order fed. Always true.
  bool sortdata();
  /// Merges items of the same name into the first of them, and sorts the items. With `groupRest`
  /// all items from the 12th on become one last item with their names, joined with ", ", and their
  /// sums. Always true.
  bool merge(bool groupRest);
  /// As `merge`, and turns the values into percentages of their sum. A sum of zero gives infinities
  /// and NaN. Always true.
  bool normalize(bool groupRest);
  /// Prints a line per item: name, tab, count, tab, value with two decimals and "%", without any
  /// escaping. Leaves the stream at precision 2 and flushes it after every line. Always true.
  bool printcsv(std::basic_ostream<char16_t>& out);
};
