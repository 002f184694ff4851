// A scalar: single variables of several types under one group number. The card holds the values; the manager declares the
// same object and reads it.
#include <cstdio>
#include <string>

#include "localManager.h"

// Group 5, and an id for each variable: that is all that both ends must agree on.
class Board : public TrelScalar {
 public:
  enum Variable : unsigned int { NAME = 1, SLOT = 2, OFFSET = 3, LOCKED = 4, MAC = 5, ADDRESS = 6, BUILT = 7 };

  Board() : TrelScalar("board", 5, false) {
    const IfcCardVarAccessType readOnly = IFC_CARD_VAR_READ_ONLY;
    addProp(new StringProperty(NAME, "name", readOnly, "unknown"), 0);  // a scalar has one row, row 0
    addProp(new TypeProperty<unsigned char>(SLOT, "slot", readOnly, 0), 0);
    addProp(new TypeProperty<int>(OFFSET, "offset", IFC_CARD_VAR_READ_WRITE, 0), 0);
    addProp(new TypeProperty<bool>(LOCKED, "locked", readOnly, false), 0);
    addProp(new MacAddressProperty(MAC, "mac", readOnly, "00:00:00:00:00:00", false), 0);
    addProp(new IpAddressProperty(ADDRESS, "address", readOnly, 0x0A140007u, false), 0);  // 10.20.0.7, as a number
    addProp(new UnixTimeProperty(BUILT, "built", readOnly, 0, false), 0);
  }
};

int main() {
  Board board;
  // The argument's type selects the setter, so each is written in the property's own type.
  board.getProp(Board::NAME, 0)->set(std::string("LC-16"));
  board.getProp(Board::SLOT, 0)->set(static_cast<unsigned char>(7));
  board.getProp(Board::OFFSET, 0)->set(-12);
  board.getProp(Board::LOCKED, 0)->set(true);
  unsigned char mac[] = {0x02, 0x00, 0x5E, 0x10, 0x00, 0x07};
  board.getProp(Board::MAC, 0)->set(mac, sizeof mac);
  board.getProp(Board::BUILT, 0)->set(1709285400LL);
  TrelUdp card;
  card.registerObject(&board);
  card.initEvents();

  Board mirror;  // starts with the defaults
  LocalManager manager(card);
  manager.registerObject(&mirror);
  if (!manager.connect() || manager.readObject(mirror) != 1) return 1;
  std::fputs(mirror.str(0, 0).c_str(), stdout);

  int offset = 0;
  mirror.getProp(Board::OFFSET, 0)->get(&offset);
  std::printf("offset %d, OID 0x%08X\n", offset, mirror.getOID(Board::OFFSET, 0));
  return offset == -12 ? 0 : 1;
}
