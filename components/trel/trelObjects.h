// Objects: the groups that properties are addressed by.
//
//   TrelScalar   one row of single variables; OID = group, variable id
//   TrelTable    a fixed number of rows of the same columns; OID = table, column, row
//
// The application makes its objects, adds their properties, registers them with the engine and overrides two hooks
// where it wants to take part: `update`, before a value is answered, and `updated`, after a value was received. The
// objects stay the application's and must live as long as the engine; the properties are the object's.
#ifndef TREL_TRELOBJECTS_H
#define TREL_TRELOBJECTS_H

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "trel/trelObjectId.h"
#include "trel/trelProperty.h"

class TrelCells;
class TrelObjectIndex;

namespace ifcCard {

// Any value may be cast in; an object that is neither of these two answers no OID.
enum IfcCardObjectType : unsigned int { SCALAR = 0, TABLE = 1 };

}  // namespace ifcCard

// What scalars and tables share.
class TREL_API TrelObject {
 public:
  ifcCard::IfcCardObjectType objectType;
  std::string name;       // tag of the object's log lines
  unsigned int id;        // group of a scalar (0 to 31), table id of a table (0 to 63)
  bool common;            // OID bit 28
  unsigned int rowCount;  // fixed at construction
  // One map for each row, from property id to property, both owned. Filled by addProp: a null put in by hand is not
  // expected. What is put in or taken out by hand is noticed by the number in its row, so a property must not be taken
  // out where another was put in, however much later: the number would be right again, and the property found.
  std::vector<std::map<unsigned int, TrelProperty*>*> rows;

  TrelObject(std::string name, ifcCard::IfcCardObjectType objectType, unsigned int id, bool common,
             unsigned int rowCount);
  TrelObject(const TrelObject&) = delete;
  TrelObject& operator=(const TrelObject&) = delete;
  // Deletes all properties.
  virtual ~TrelObject();

  // "Scalar" or "Table".
  virtual std::string getObjectTypeStr() const = 0;

  // The OID of the property with this id (variable id or column) in this row. Nothing is masked or checked: an id that
  // is too large runs into the neighbouring fields, because ids are fixed by the application that builds the objects.
  virtual unsigned int getOID(unsigned int propertyId, unsigned int row) = 0;

  // --- the application's hooks; the base versions do nothing and return true ---
  // Called by the engine for each property that a received request names, in the order of the request, before anything
  // is checked or answered, reads and writes alike: the moment to sample a live value with property->set(). Also called
  // by updateAll. The result is only logged.
  virtual bool update(TrelProperty* property, unsigned int row);
  // Called by the engine after it stored a received value: of a write (false makes the answer RESULT_CANNOT_EXEC; the
  // value stays stored), of a response or of an autonomous message (the result is only logged).
  virtual bool updated(TrelProperty* property, unsigned int row);

  // The property that an OID addresses here, or null. Leaves one DEBUG3 line, "Valid object id" or "Invalid object id",
  // and the ERROR line of getProp when the OID is one of this object's but names no property.
  virtual TrelProperty* getPropFromOID(unsigned int oid) = 0;

  // Text of all properties, for the application's diagnostics: rows from firstRow on, maxRows of them, 0 for all.
  virtual std::string str(int firstRow, int maxRows) const;

  // Adds a property to a row and takes ownership of it. A property belongs to one row of one object; a table gets one
  // property for each column and row.
  // False, with the property still the caller's: null or an id that the row already holds (one ERROR line), a row
  // beyond rowCount (no line).
  bool addProp(TrelProperty* property, unsigned int row);

  // The property with this id in this row; null, with an ERROR line, when there is none.
  TrelProperty* getProp(unsigned int propertyId, unsigned int row);

  // Whether getPropFromOID finds a property.
  bool isValidObjectId(unsigned int oid);

  // The returned lists do not own: the properties stay the object's.
  // One row in ascending id; empty, with an ERROR line, when the row does not exist (a negative one does not).
  std::vector<TrelProperty*> getPropertiesOfRow(int row);
  // All, row by row, ascending id in each.
  std::vector<TrelProperty*> getProperties() const;
  // Those whose event is pending, in the same order. Clears the flags: each change is handed out once.
  std::vector<TrelProperty*> getPropertiesToEvent() const;

  // setToDefault of every property.
  void setToDefault();
  // `update` of every property, rows in order, ascending id. Always true.
  bool updateAll();

 private:
  friend class TrelObjectIndex;
  friend class TrelProtocolBase;
  inline TrelProperty* find(unsigned int propertyId, unsigned int row) const;
  TREL_LOCAL void takeChanged(std::vector<TrelProperty*>& changed) const;

  std::unique_ptr<TrelCells> cells;  // what `rows` holds, to be found without a search
};

// A group of single variables. Group ids above 31, and common groups above 3, cannot be addressed.
class TREL_API TrelScalar : public TrelObject {
 public:
  TrelScalar(std::string name, unsigned int id, bool common);
  ~TrelScalar() override;

  std::string getObjectTypeStr() const override;
  // variableId | group << 23 | common bit. The row is ignored.
  unsigned int getOID(unsigned int variableId, unsigned int row) override;
  TrelProperty* getPropFromOID(unsigned int oid) override;
  // "Scalar : " and the base text.
  std::string str(int firstRow, int maxRows) const override;
};

// A fixed number of rows of the same columns.
class TREL_API TrelTable : public TrelObject {
 public:
  TrelTable(std::string name, unsigned int id, bool common, unsigned int rowCount);
  ~TrelTable() override;

  std::string getObjectTypeStr() const override;
  // row | column << 14 | table << 22 | table kind | common bit.
  unsigned int getOID(unsigned int column, unsigned int row) override;
  TrelProperty* getPropFromOID(unsigned int oid) override;
  // "Table : " and the base text.
  std::string str(int firstRow, int maxRows) const override;
};

#endif
