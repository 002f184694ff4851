// Private: the properties of an object once more, by row and id, to be found without a search.
//
// `rows` stays the truth: it is public, and a row that holds another number of properties than addProp has put there is
// asked itself. Where there is no memory, or the ids lie so far apart that the places would be mostly empty, there are no
// cells, and every row is asked.
#ifndef TREL_TRELCELLS_H
#define TREL_TRELCELLS_H

#include <cstddef>
#include <map>
#include <memory>
#include <vector>

#include "trel/trelObjects.h"

class TrelCells {
 public:
  using Row = std::map<unsigned int, TrelProperty*>;
  using Rows = std::vector<Row*>;

  // addProp has put this property into this row.
  void add(const Rows& rows, TrelProperty* property, unsigned int row) noexcept;

  // The property under this id in this row, which exists; null when there is none.
  TrelProperty* find(const Rows& rows, unsigned int id, unsigned int row) const {
    const Row& held = *rows[row];
    const unsigned int place = id - firstId_;
    if (place < stride_ && held.size() == held_[row]) return cells_[std::size_t{row} * stride_ + place];
    return search(held, id);
  }

  // Calls visit(property) for each property, rows in order, ascending id.
  template <typename Visit>
  void each(const Rows& rows, Visit visit) const {
    const unsigned int stride = stride_;
    if (stride == 0) {
      for (const Row* row : rows)
        visitRow(*row, visit);
      return;
    }
    const unsigned int* held = held_.get();
    TrelProperty* const* cell = cells_.get();
    for (const Row* row : rows) {
      TrelProperty* const* const end = cell + stride;
      if (row->size() == stride && *held == stride) {  // no place is free
        for (; cell != end; ++cell)
          visit(*cell);
      } else if (row->size() != *held) {
        visitRow(*row, visit);
        cell = end;
      } else {
        for (; cell != end; ++cell) {
          if (*cell != nullptr) visit(*cell);
        }
      }
      ++held;
    }
  }

 private:
  template <typename Visit>
  static void visitRow(const Row& row, Visit visit) {
    for (const auto& entry : row)
      visit(entry.second);
  }
  static TrelProperty* search(const Row& row, unsigned int id);
  void build(const Rows& rows) noexcept;

  std::unique_ptr<TrelProperty*[]> cells_;  // row after row, stride_ places in each, by id
  std::unique_ptr<unsigned int[]> held_;    // properties in each row
  unsigned int stride_ = 0;                 // 0: no cells
  unsigned int firstId_ = 0;                // of the first place
  unsigned int smallestId_ = 0xFFFFFFFFU;
  unsigned int largestId_ = 0;
  std::size_t count_ = 0;  // properties in all
};

// The property under this id in this row; null when there is none, or no such row.
inline TrelProperty* TrelObject::find(unsigned int propertyId, unsigned int row) const {
  return row < rowCount ? cells->find(rows, propertyId, row) : nullptr;
}

#endif
