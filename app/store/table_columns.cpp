#include "app/store/table_columns.h"

namespace tovra::store::columns {

std::string exportedList(std::span<const Column> columns, std::string_view prefix) {
  std::string list;
  for (const auto& column : columns) {
    if (column.exported()) {
      list += list.empty() ? "" : ", ";
      list += prefix;
      list += column.name;
    }
  }
  return list;
}

}  // namespace tovra::store::columns
