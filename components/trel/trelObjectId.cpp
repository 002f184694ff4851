#include "trel/trelObjectId.h"

#include <locale>
#include <sstream>

#include "trel/trelOidLayout.h"
#include "trel/trelTraceGate.h"

namespace {

constexpr unsigned int NOT_DECODED = 0xFFFFFFFFU;

}  // namespace

TrelObjectId::TrelObjectId(unsigned int oid)
    : common(false), isTable(false), isScalar(false), id(NOT_DECODED), subId(NOT_DECODED), row(0), result(RESULT_OK) {
  switch (trelOid::kind(oid)) {
    case trelOid::KIND_SCALAR:
      common = trelOid::common(oid);
      id = trelOid::group(oid);
      if (!trelOid::usableScalar(oid)) {
        TREL_ERROR("[ERROR] %s:%d (%s) - Failed to decode scalar oid %#x", TREL_HERE, oid);
        result = RESULT_WRONG_OID;
        break;
      }
      subId = trelOid::variable(oid);
      isScalar = true;
      break;

    case trelOid::KIND_TABLE:
      isTable = true;
      common = trelOid::common(oid);
      id = trelOid::table(oid);
      subId = trelOid::column(oid);
      row = trelOid::row(oid);
      break;

    default:
      TREL_ERROR("[ERROR] %s:%d (%s) - Invalid oid %#x", TREL_HERE, oid);
      result = RESULT_WRONG_OID;
      break;
  }
}

std::string TrelObjectId::str() const {
  std::ostringstream text;
  text.imbue(std::locale::classic());  // plain numbers whatever locale the application has set
  if (isTable) {
    text << "table object: common = " << common << ", table id = " << id << ", column = " << subId << ", row = " << row;
  } else if (isScalar) {
    text << "scalar object: common = " << common << ", group id = " << id << ", variable id = " << subId;
  } else {
    text << "invalid object";
  }
  return text.str();
}
