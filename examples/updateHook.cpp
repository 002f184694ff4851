// The hook `update`: the engine calls it for each variable that a request names, before the answer is made. The moment to
// sample a live value; nothing needs to be kept fresh in between.
#include <cstdio>

#include "localManager.h"

// Stands for a driver.
class Thermometer {
 public:
  int degrees() { return 40 + readings_++; }
  int readings() const { return readings_; }

 private:
  int readings_ = 0;
};

class Climate : public TrelScalar {
 public:
  enum Variable : unsigned int { TEMPERATURE = 1, LIMIT = 2 };

  explicit Climate(Thermometer* thermometer) : TrelScalar("climate", 7, false), thermometer_(thermometer) {
    addProp(new TypeProperty<int>(TEMPERATURE, "temperature", IFC_CARD_VAR_READ_ONLY, 0), 0);
    addProp(new TypeProperty<int>(LIMIT, "limit", IFC_CARD_VAR_READ_WRITE, 70), 0);
  }

  // Only for the variable that was asked for. A manager has no thermometer: its picture of the card samples nothing.
  bool update(TrelProperty* property, unsigned int) override {
    if (thermometer_ != nullptr && property->id == TEMPERATURE) property->set(thermometer_->degrees());
    return true;
  }

 private:
  Thermometer* thermometer_;
};

int main() {
  Thermometer thermometer;
  Climate climate(&thermometer);
  TrelUdp card;
  card.registerObject(&climate);
  card.initEvents();

  Climate mirror(nullptr);
  LocalManager manager(card);
  manager.registerObject(&mirror);
  if (!manager.connect()) return 1;

  int degrees = 0;
  for (int i = 0; i < 3; ++i) {
    if (manager.readProperty(*mirror.getProp(Climate::TEMPERATURE, 0)) != 1) return 1;
    mirror.getProp(Climate::TEMPERATURE, 0)->get(&degrees);
    std::printf("temperature %d\n", degrees);
  }
  if (manager.readProperty(*mirror.getProp(Climate::LIMIT, 0)) != 1) return 1;
  std::printf("limit read, still %d readings\n", thermometer.readings());
  return degrees == 42 && thermometer.readings() == 3 ? 0 : 1;
}
