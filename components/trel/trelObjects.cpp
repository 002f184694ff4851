#include "trel/trelObjects.h"

#include <dlfcn.h>

#include <cstring>
#include <locale>
#include <memory>
#include <sstream>
#include <utility>

#include "trel/trelHookOverride.h"
#include "trel/trelOidLayout.h"
#include "trel/trelTraceGate.h"

// ----- TrelObject -----

TrelObject::TrelObject(std::string objectName, ifcCard::IfcCardObjectType type, unsigned int objectId, bool isCommon,
                       unsigned int numberOfRows)
    : objectType(type), name(std::move(objectName)), id(objectId), common(isCommon), rowCount(numberOfRows) {
  rows.reserve(rowCount);
  std::vector<std::unique_ptr<std::map<unsigned int, TrelProperty*>>> made(rowCount);
  for (auto& row : made)
    row = std::make_unique<std::map<unsigned int, TrelProperty*>>();
  for (auto& row : made)
    rows.push_back(row.release());  // all or none: an allocator that throws leaves nothing behind
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
  property->row = row;
  TREL_DEBUG3("[DEBUG3] %s:%d (%s) - [%s] Property %d added for row %d", TREL_HERE, name.c_str(), property->id, row);
  property->object = this;
  return true;
}

TrelProperty* TrelObject::getProp(unsigned int propertyId, unsigned int row) {
  if (row < rowCount) {
    const auto found = rows[row]->find(propertyId);
    if (found != rows[row]->end() && found->second != nullptr) {
      TREL_DEBUG3("[DEBUG3] %s:%d (%s) - [%s] Property %d for row %d found", TREL_HERE, name.c_str(), propertyId, row);
      return found->second;
    }
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
  std::size_t pending = 0;
  for (const auto* row : rows) {
    for (const auto& entry : *row)
      pending += entry.second->eventPending ? 1 : 0;
  }
  std::vector<TrelProperty*> properties;
  properties.reserve(pending);  // before any is handed out: an allocator that throws loses no change
  for (const auto* row : rows) {
    for (const auto& entry : *row) {
      if (entry.second->sendEvent()) properties.push_back(entry.second);
    }
  }
  return properties;
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
    : TrelObject(std::move(scalarName), ifcCard::SCALAR, groupId, isCommon, 1) {}

TrelScalar::~TrelScalar() = default;

std::string TrelScalar::getObjectTypeStr() const { return "Scalar"; }

// No operand is masked or checked: ids are the application's own, and this runs for every TLV that is written.
unsigned int TrelScalar::getOID(unsigned int variableId, unsigned int) {
  return variableId | id << trelOid::GROUP_SHIFT | (common ? trelOid::COMMON_BIT : 0);
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
    : TrelObject(std::move(tableName), ifcCard::TABLE, tableId, isCommon, numberOfRows) {}

TrelTable::~TrelTable() = default;

std::string TrelTable::getObjectTypeStr() const { return "Table"; }

// No operand is masked or checked, as in a scalar: column 256 of table 0 is column 0 of table 1.
unsigned int TrelTable::getOID(unsigned int column, unsigned int row) {
  return row | trelOid::TABLE_BIT | column << trelOid::COLUMN_SHIFT | id << trelOid::TABLE_SHIFT |
         (common ? trelOid::COMMON_BIT : 0);
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

namespace {

// The function behind `update` in an object's virtual table: after the two entries of the destructor, getObjectTypeStr
// and getOID.
const void* updateOf(const TrelObject& object) {
  constexpr int UPDATE_SLOT = 4;
  const void* const* table = nullptr;
  std::memcpy(&table, static_cast<const void*>(&object), sizeof table);
  return table[UPDATE_SLOT];
}

// The base version as the library's own classes name it.
const void* baseUpdate() {
  static const void* const address = updateOf(TrelScalar("", 0, false));
  return address;
}

// The base version as the program names it. One that is not position independent may have an entry of its own for a
// library's function, and puts that into its virtual tables; a library linked -Bsymbolic does not see it in its own.
// The name is looked up from the program, because such a library finds itself first. Null when the program does not
// know the library.
const void* baseUpdateOfProgram() {
#ifdef trel_EXPORTS
  static bool known = false;
  static const void* address = nullptr;
  if (known) return address;
  void* program = dlopen(nullptr, RTLD_LAZY);
  if (program == nullptr) return nullptr;  // out of memory: asked again next time
  address = dlsym(program, "_ZN10TrelObject6updateEP12TrelPropertyj");
  dlclose(program);
  known = true;
  return address;
#else
  return baseUpdate();  // linked into the program: there is one name only
#endif
}

}  // namespace

// A virtual table is asked because a flag set by the base version would take an override that calls it for none.
bool trelHook::overridesUpdate(const TrelObject& object) {
  const void* update = updateOf(object);
  return update != baseUpdate() && update != baseUpdateOfProgram();
}
