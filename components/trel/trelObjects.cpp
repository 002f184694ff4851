#include "trel/trelObjects.h"

#include <dlfcn.h>

#include <algorithm>
#include <locale>
#include <memory>
#include <new>
#include <sstream>
#include <utility>

#include "trel/trelCells.h"
#include "trel/trelHookOverride.h"
#include "trel/trelOidLayout.h"
#include "trel/trelPropertyList.h"
#include "trel/trelTraceGate.h"

// ----- where properties are found -----

TrelProperty* TrelCells::search(const Row& row, unsigned int id) {
  const auto found = row.find(id);
  return found != row.end() ? found->second : nullptr;
}

void TrelCells::add(const Rows& rows, TrelProperty* property, unsigned int row) noexcept {
  ++count_;
  smallestId_ = std::min(smallestId_, property->id);
  largestId_ = std::max(largestId_, property->id);
  const unsigned int place = property->id - firstId_;
  if (place >= stride_) {
    build(rows);
    return;
  }
  cells_[std::size_t{row} * stride_ + place] = property;
  ++held_[row];
}

// Anew, for other ids or because there are properties enough by now.
void TrelCells::build(const Rows& rows) noexcept {
  constexpr std::size_t FREE_PLACES = 64;  // that are not worth a thought
  stride_ = 0;
  cells_.reset();
  held_.reset();
  const unsigned int places = largestId_ - smallestId_ + 1;  // 0 for all there are
  if (places - 1 >= (2 * count_ + FREE_PLACES) / rows.size()) return;

  cells_.reset(new (std::nothrow) TrelProperty*[rows.size() * places]());
  held_.reset(new (std::nothrow) unsigned int[rows.size()]());
  if (cells_ == nullptr || held_ == nullptr) return;
  stride_ = places;
  firstId_ = smallestId_;
  for (std::size_t row = 0; row < rows.size(); ++row) {
    for (const auto& [id, property] : *rows[row]) {
      if (id - firstId_ >= stride_) continue;  // put there by hand
      cells_[row * stride_ + (id - firstId_)] = property;
      ++held_[row];
    }
  }
}

// ----- TrelObject -----

trelHook::OwnVersions trelHook::own = {};

TrelObject::TrelObject(std::string objectName, ifcCard::IfcCardObjectType type, unsigned int objectId, bool isCommon,
                       unsigned int numberOfRows)
    : objectType(type),
      name(std::move(objectName)),
      id(objectId),
      common(isCommon),
      rowCount(numberOfRows),
      cells(std::make_unique<TrelCells>()) {
  rows.reserve(rowCount);
  std::vector<std::unique_ptr<std::map<unsigned int, TrelProperty*>>> made(rowCount);
  for (auto& row : made)
    row = std::make_unique<std::map<unsigned int, TrelProperty*>>();
  for (auto& row : made)
    rows.push_back(row.release());  // all or none: an allocator that throws leaves nothing behind
  // While a constructor runs, the object is of its class: its virtual table names the library's own versions.
  trelHook::own.update = trelHook::versionOf(*this, trelHook::UPDATE);
}

TrelObject::~TrelObject() {
  for (auto* properties : rows) {
    for (const auto& entry : *properties)
      delete entry.second;
    delete properties;
  }
}

bool TrelObject::update(TrelProperty*, unsigned int) { return true; }

bool TrelObject::updated(TrelProperty*, unsigned int) { return true; }

bool TrelObject::addProp(TrelProperty* property, unsigned int row) {
  if (property == nullptr) {
    TREL_ERROR("[ERROR] %s:%d (%s) - [%s] Property == NULL", TREL_HERE, name.c_str());
    return false;
  }
  if (row >= rowCount) return false;

  auto& properties = *rows[row];
  if (properties.find(property->id) != properties.end()) {
    TREL_ERROR("[ERROR] %s:%d (%s) - [%s] Property %d already added", TREL_HERE, name.c_str(), property->id);
    return false;  // the property keeps its row and object, and its owner
  }
  properties[property->id] = property;  // before the property is told: an allocator that throws changes neither
  cells->add(rows, property, row);
  property->row = row;
  TREL_DEBUG3("[DEBUG3] %s:%d (%s) - [%s] Property %d added for row %d", TREL_HERE, name.c_str(), property->id, row);
  property->object = this;
  return true;
}

TrelProperty* TrelObject::getProp(unsigned int propertyId, unsigned int row) {
  if (TrelProperty* property = find(propertyId, row)) {
    TREL_DEBUG3("[DEBUG3] %s:%d (%s) - [%s] Property %d for row %d found", TREL_HERE, name.c_str(), propertyId, row);
    return property;
  }
  TREL_ERROR("[ERROR] %s:%d (%s) - [%s] Could not find property %d for row %d", TREL_HERE, name.c_str(), propertyId,
             row);
  return nullptr;
}

bool TrelObject::isValidObjectId(unsigned int oid) { return getPropFromOID(oid) != nullptr; }

std::vector<TrelProperty*> TrelObject::getPropertiesOfRow(int row) {
  std::vector<TrelProperty*> properties;
  if (static_cast<unsigned int>(row) >= rowCount) {  // unsigned: a negative row is out of range
    TREL_ERROR("[ERROR] %s:%d (%s) - [%s] trying to get properties of not existing row %i, size is claimed %i",
               TREL_HERE, name.c_str(), row, rowCount);
    return properties;
  }
  for (const auto& entry : *rows[static_cast<unsigned int>(row)])
    properties.push_back(entry.second);
  return properties;
}

std::vector<TrelProperty*> TrelObject::getProperties() const {
  std::vector<TrelProperty*> properties;
  for (const auto* row : rows) {
    for (const auto& entry : *row)
      properties.push_back(entry.second);
  }
  return properties;
}

std::vector<TrelProperty*> TrelObject::getPropertiesToEvent() const {
  std::vector<TrelProperty*> properties;
  takeChanged(properties);
  return properties;
}

// Fills an empty list with those whose event is pending and clears the flags. An allocator that throws loses no change: each waits in its
// property again.
void TrelObject::takeChanged(std::vector<TrelProperty*>& changed) const {
  try {
    cells->each(rows, [&](TrelProperty* property) {
      if (!property->eventPending) return;
      trelList::append(changed, property);
      property->eventPending = false;
    });
  } catch (...) {
    for (TrelProperty* property : changed)
      property->eventPending = true;
    throw;
  }
}

void TrelObject::setToDefault() {
  for (const auto* row : rows) {
    for (const auto& entry : *row)
      entry.second->setToDefault();
  }
}

bool TrelObject::updateAll() {
  for (const auto* row : rows) {
    for (const auto& entry : *row)
      update(entry.second, entry.second->row);
  }
  return true;
}

std::string TrelObject::str(int firstRow, int maxRows) const {
  std::ostringstream text;
  text.imbue(std::locale::classic());
  text << id << " (size = " << rowCount << ")\n"
       << "---------------------------\n";
  int printed = 0;
  for (unsigned int r = 0; r < rowCount; ++r) {
    const bool wanted = static_cast<long long>(r) >= firstRow && (maxRows == 0 || printed < maxRows);
    if (!wanted) continue;
    text << "\nProperties for row " << r << ":\n";
    for (const auto& entry : *rows[r])
      text << entry.second->str();
    ++printed;
  }
  text << "\n";
  return text.str();
}

// ----- TrelScalar -----

TrelScalar::TrelScalar(std::string scalarName, unsigned int groupId, bool isCommon)
    : TrelObject(std::move(scalarName), ifcCard::SCALAR, groupId, isCommon, 1) {
  trelHook::own.scalarOid = trelHook::versionOf(*this, trelHook::GET_OID);
  trelHook::own.scalarSearch = trelHook::versionOf(*this, trelHook::GET_PROP_FROM_OID);
}

TrelScalar::~TrelScalar() = default;

std::string TrelScalar::getObjectTypeStr() const { return "Scalar"; }

unsigned int TrelScalar::getOID(unsigned int variableId, unsigned int) {
  return trelOid::ofScalar(id, common, variableId);
}

TrelProperty* TrelScalar::getPropFromOID(unsigned int oid) {
  TrelProperty* property = nullptr;
  // A foreign OID is refused quietly: it is somebody else's, not a mistake.
  if (trelOid::kind(oid) == trelOid::KIND_SCALAR && objectType == ifcCard::SCALAR && trelOid::usableScalar(oid) &&
      trelOid::group(oid) == id && trelOid::common(oid) == common) {
    property = getProp(trelOid::variable(oid), 0);
  }
  TREL_DEBUG3("[DEBUG3] %s:%d (%s) - [%s] %s object id %#x for scalar %d", TREL_HERE, name.c_str(),
              property != nullptr ? "Valid" : "Invalid", oid, id);
  return property;
}

std::string TrelScalar::str(int firstRow, int maxRows) const {
  return "\nScalar : " + TrelObject::str(firstRow, maxRows);
}

// ----- TrelTable -----

TrelTable::TrelTable(std::string tableName, unsigned int tableId, bool isCommon, unsigned int numberOfRows)
    : TrelObject(std::move(tableName), ifcCard::TABLE, tableId, isCommon, numberOfRows) {
  trelHook::own.tableOid = trelHook::versionOf(*this, trelHook::GET_OID);
  trelHook::own.tableSearch = trelHook::versionOf(*this, trelHook::GET_PROP_FROM_OID);
}

TrelTable::~TrelTable() = default;

std::string TrelTable::getObjectTypeStr() const { return "Table"; }

unsigned int TrelTable::getOID(unsigned int column, unsigned int row) {
  return trelOid::ofTable(id, common, column, row);
}

TrelProperty* TrelTable::getPropFromOID(unsigned int oid) {
  TrelProperty* property = nullptr;
  if (trelOid::kind(oid) == trelOid::KIND_TABLE && objectType == ifcCard::TABLE && trelOid::table(oid) == id &&
      trelOid::common(oid) == common) {
    property = getProp(trelOid::column(oid), trelOid::row(oid));
  }
  TREL_DEBUG3("[DEBUG3] %s:%d (%s) - [%s] %s object id %#x for table %d", TREL_HERE, name.c_str(),
              property != nullptr ? "Valid" : "Invalid", oid, id);
  return property;
}

std::string TrelTable::str(int firstRow, int maxRows) const {
  return "\nTable : " + TrelObject::str(firstRow, maxRows);
}

// ----- who overrides `update` -----

// A program that is not position independent may have an entry of its own for a library's function, and puts that into
// its virtual tables; a library linked -Bsymbolic does not see it in its own. The name is looked up from the program,
// because such a library finds itself first. A program that does not know the library has none of its own.
void trelHook::findUpdateOfProgram() {
#ifdef trel_EXPORTS
  void* program = dlopen(nullptr, RTLD_LAZY);
  if (program == nullptr) return;  // out of memory: asked again next time
  own.updateOfProgram = dlsym(program, "_ZN10TrelObject6updateEP12TrelPropertyj");
  dlclose(program);
#endif
  // Linked into the program there is one name only.
  if (own.updateOfProgram == nullptr) own.updateOfProgram = own.update;
}
