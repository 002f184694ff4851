// Old-style variables: OIDs that no registered object knows, served by two hooks of the engine. For a card whose variables live
// elsewhere already. First checkTlvOld is asked for every one of the request, then handleTrelMsgOld serves each.
#include <cstdio>
#include <string>

#include "localManager.h"

constexpr unsigned int GROUP = 10;
enum Variable : unsigned int { SPEED = 1, MODEL = 2 };

class OldCard : public TrelUdp {
 public:
  int checkTlvOld(OldStyleProperty* property, bool isWrite) const override {
    const TrelObjectId oid(property->getOid());
    if (!oid.isScalar || oid.common || oid.id != GROUP)
      return RESULT_GENERAL_ERROR;  // what an unknown OID is answered with
    switch (oid.subId) {
      case SPEED:
        if (property->getType() != TREL_TYPE_UINT32) return RESULT_WRONG_TYPE;
        return property->length() == 4 ? RESULT_OK : RESULT_WRONG_LEN;
      case MODEL:
        if (property->getType() != TREL_TYPE_STRING) return RESULT_WRONG_TYPE;
        return isWrite ? RESULT_READ_ONLY : RESULT_OK;
      default:
        return RESULT_GENERAL_ERROR;
    }
  }

  // A write: take the property's value. A read: put the value in. False is answered with RESULT_CANNOT_EXEC.
  bool handleTrelMsgOld(OldStyleProperty* property, bool isWrite) override {
    if (TrelObjectId(property->getOid()).subId == MODEL) {
      property->set(model_);
    } else if (isWrite) {
      property->get(&speed_);
    } else {
      property->set(speed_);
    }
    return true;
  }

 private:
  unsigned int speed_ = 1000;
  std::string model_ = "LC-4";
};

int main() {
  OldCard card;
  card.initEvents();

  TrelScalar mirror("old", GROUP, false);  // to the manager they are variables like any other
  auto* speed = new TypeProperty<unsigned int>(SPEED, "speed", IFC_CARD_VAR_READ_WRITE, 0u);
  auto* model = new StringProperty(MODEL, "model", IFC_CARD_VAR_READ_ONLY, "");
  mirror.addProp(speed, 0);
  mirror.addProp(model, 0);
  LocalManager manager(card);
  manager.registerObject(&mirror);
  if (!manager.connect() || manager.readObject(mirror) != 1) return 1;
  std::fputs((speed->str() + model->str()).c_str(), stdout);

  speed->set(2500u);
  if (manager.writeProperty(*speed) != 1 || manager.readProperty(*speed) != 1) return 1;
  std::fputs(speed->str().c_str(), stdout);
  manager.writeProperty(*model);
  std::printf("%s\n", manager.lastResult().str().c_str());
  return speed->value == 2500 && manager.lastResult().code == RESULT_READ_ONLY ? 0 : 1;
}
