// The hook `updated`: the engine calls it for each variable that a write has set, when all values of the request are stored.
// The moment to act. False makes the answer RESULT_CANNOT_EXEC; the value stays stored all the same.
#include <cstdio>

#include "localManager.h"

// Stands for a driver: the fans do not turn while their lid is open.
struct Fans {
  unsigned char percent = 50;
  bool lidOpen = false;

  bool turnAt(unsigned char wanted) {
    if (lidOpen) return false;
    percent = wanted;
    return true;
  }
};

class FanControl : public TrelScalar {
 public:
  enum Variable : unsigned int { DUTY = 1 };

  explicit FanControl(Fans* fans) : TrelScalar("fanControl", 8, false), fans_(fans) {
    addProp(new TypeProperty<unsigned char>(DUTY, "duty", IFC_CARD_VAR_READ_WRITE, 50), 0);
  }

  // A manager's picture of the card is updated too, by each read. It has no fans.
  bool updated(TrelProperty* property, unsigned int) override {
    if (fans_ == nullptr || property->id != DUTY) return true;
    unsigned char wanted = 0;
    property->get(&wanted);
    if (fans_->turnAt(wanted)) return true;
    property->set(fans_->percent);  // otherwise a read would tell what never happened
    return false;
  }

 private:
  Fans* fans_;
};

int main() {
  Fans fans;
  FanControl control(&fans);
  TrelUdp card;
  card.registerObject(&control);
  card.initEvents();

  FanControl mirror(nullptr);
  LocalManager manager(card);
  manager.registerObject(&mirror);
  if (!manager.connect()) return 1;

  TrelProperty* duty = mirror.getProp(FanControl::DUTY, 0);
  duty->set(static_cast<unsigned char>(80));
  const bool turned = manager.writeProperty(*duty) == 1;
  std::printf("%s: fans at %d %%\n", manager.lastResult().text, fans.percent);

  fans.lidOpen = true;
  duty->set(static_cast<unsigned char>(20));
  manager.writeProperty(*duty);
  std::printf("%s: fans at %d %%\n", manager.lastResult().text, fans.percent);
  return turned && manager.lastResult().code == RESULT_CANNOT_EXEC && fans.percent == 80 ? 0 : 1;
}
