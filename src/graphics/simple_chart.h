#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "graphics/chart.h"
#include "tessaron_export.h"

/// One item of a chart.
struct TESSARON_API scdata {
  std::u16string name;     ///< the label
  std::int32_t count = 0;  ///< how many things the item stands for
  float value = 0;         ///< its weight; once normalized, its share of the total in percent

  scdata();
  scdata(std::u16string itemName, std::int32_t itemCount, float itemValue);
  scdata(const scdata&);
  scdata(scdata&&) noexcept;
  scdata& operator=(const scdata&);
  scdata& operator=(scdata&&) noexcept;
  ~scdata();
};

/// The order of the items: by value, the greatest first, then by name, code unit by code unit.
/// QUIRK: a value that is no number goes neither before nor after any other, which is no order that
/// sorting could rely on. Kept: applications compare with it; `sortdata` keeps such values apart.
struct TESSARON_API SortSCData {
  bool operator()(const scdata& a, const scdata& b) const;
};

/// A chart's data: labelled items that can be merged, sorted, turned into percentages and printed.
class TESSARON_API GPSimpleChart : public GPChart {
 public:
  std::vector<scdata> items;  ///< in the order fed or, once sorted, that of `SortSCData`
  float total = 0;            ///< what `normalize` leaves: 100

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
  /// Sorts the items; those whose value is no number come last, as they were fed. Always true.
  bool sortdata();
  /// Merges the items of the same name into the first of them, and sorts them. With `groupRest` all
  /// items from the 12th on become one: it carries their names, joined with ", ", and their sums,
  /// and stays the last. Always true.
  bool merge(bool groupRest);
  /// As `merge`, and turns the values into percentages of their sum. When they add up to zero the
  /// percentages are what dividing by zero gives. Always true.
  bool normalize(bool groupRest);
  /// Prints a line per item: name, tab, count, tab, value with two decimals and "%". Nothing is
  /// escaped. The stream keeps the precision 2 and is flushed at every line end. Always true.
  bool printcsv(std::basic_ostream<char16_t>& out);
};
