/// \file
/// Columns of text, aligned.
#ifndef ORMO_MEASURE_TEXT_TABLE_H
#define ORMO_MEASURE_TEXT_TABLE_H

#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace OrmoMeasure {

enum class Align { LEFT, RIGHT };

struct Column {
  std::string title;
  Align align = Align::LEFT;
};

/// Rows under a line of titles; every column is as wide as its widest cell.
class TextTable {
 public:
  explicit TextTable(std::vector<Column> columns) : columns_(std::move(columns)) {}

  /// One cell for every column.
  void AddRow(std::vector<std::string> cells) { rows_.push_back(std::move(cells)); }

  void Print(std::ostream& out) const;

 private:
  std::vector<size_t> Widths() const;
  void PrintRow(std::ostream& out, const std::vector<std::string>& cells,
                const std::vector<size_t>& widths) const;

  std::vector<Column> columns_;
  std::vector<std::vector<std::string>> rows_;
};

}  // namespace OrmoMeasure

#endif  // ORMO_MEASURE_TEXT_TABLE_H
