// Value checks: what a manager may write. A range, an own check of a number, an own check of a text. A refused write changes
// nothing; the answer names the variable.
#include <cstdio>
#include <string>

#include "localManager.h"

class EvenNumber : public TypeProperty<int>::TypeValueCheck {
 public:
  bool checkValue(int value) override { return value % 2 == 0; }
};

class NoBlanks : public StringProperty::StringValueCheck {
 public:
  bool checkValue(std::string value) override {
    return value.size() <= 16 && value.find(' ') == std::string::npos;  // received texts may be of any length
  }
};

class Settings : public TrelScalar {
 public:
  enum Variable : unsigned int { DUTY = 1, STEP = 2, SITE = 3 };

  Settings() : TrelScalar("settings", 6, false) {
    const IfcCardVarAccessType writable = IFC_CARD_VAR_READ_WRITE;
    addProp(new TypeProperty<unsigned int>(DUTY, "duty", writable, 50u, new RangeCheckValue<unsigned int>(10u, 100u)),
            0);
    addProp(new TypeProperty<int>(STEP, "step", writable, 2, new EvenNumber), 0);  // a number's check is the property's
    addProp(new StringProperty(SITE, "site", writable, "lab", &noBlanks_),
            0);  // a text's check stays the application's
  }

 private:
  NoBlanks noBlanks_;
};

template <typename T>
bool writeIs(int expected, TrelUdp& manager, TrelProperty* property, T value) {
  property->set(value);  // an application's own set() asks no check
  manager.writeProperty(*property);
  std::printf("%s\n", manager.lastResult().str().c_str());
  return manager.lastResult().code == expected;
}

int main() {
  Settings settings;
  TrelUdp card;
  card.registerObject(&settings);
  card.initEvents();

  Settings mirror;
  LocalManager manager(card);
  manager.registerObject(&mirror);
  if (!manager.connect()) return 1;

  bool good = writeIs(RESULT_OK, manager, mirror.getProp(Settings::DUTY, 0), 100u);
  good = writeIs(RESULT_WRONG_VALUE, manager, mirror.getProp(Settings::DUTY, 0), 101u) && good;
  good = writeIs(RESULT_OK, manager, mirror.getProp(Settings::STEP, 0), -4) && good;
  good = writeIs(RESULT_WRONG_VALUE, manager, mirror.getProp(Settings::STEP, 0), 5) && good;
  good = writeIs(RESULT_OK, manager, mirror.getProp(Settings::SITE, 0), std::string("north-3")) && good;
  good = writeIs(RESULT_WRONG_VALUE, manager, mirror.getProp(Settings::SITE, 0), std::string("north 3")) && good;
  std::fputs(settings.str(0, 0).c_str(), stdout);
  return good ? 0 : 1;
}
