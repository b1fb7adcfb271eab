#include "text_table.h"

#include <algorithm>

namespace OrmoMeasure {

std::vector<size_t> TextTable::Widths() const {
  std::vector<size_t> widths;
  for (size_t i = 0; i < columns_.size(); ++i) {
    size_t width = columns_[i].title.size();
    for (const std::vector<std::string>& row : rows_) {
      width = std::max(width, row[i].size());
    }
    widths.push_back(width);
  }
  return widths;
}

void TextTable::PrintRow(std::ostream& out, const std::vector<std::string>& cells,
                         const std::vector<size_t>& widths) const {
  std::string line;
  for (size_t i = 0; i < cells.size(); ++i) {
    const std::string gap(widths[i] - cells[i].size(), ' ');
    line += "  ";
    line += columns_[i].align == Align::RIGHT ? gap + cells[i] : cells[i] + gap;
  }
  out << line.substr(0, line.find_last_not_of(' ') + 1) << '\n';
}

void TextTable::Print(std::ostream& out) const {
  const std::vector<size_t> widths = Widths();
  std::vector<std::string> titles;
  for (const Column& column : columns_) {
    titles.push_back(column.title);
  }
  PrintRow(out, titles, widths);
  for (const std::vector<std::string>& row : rows_) {
    PrintRow(out, row, widths);
  }
}

}  // namespace OrmoMeasure
