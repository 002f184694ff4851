// What the library knows by itself it does not ask for. Nobody can tell from what is answered, so the instructions of two works
// are compared that differ in one thing: what must be asked costs more.
#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "support/bytes.h"
#include "support/instructionCount.h"
#include "trel/trelProtocolBase.h"

namespace {

class ShortCut : public testing::Test {
 protected:
  void SetUp() override {
    if (!canCountInstructions()) GTEST_SKIP() << "no process can be stepped through here";
  }
};

template <typename T>
class NumberShortCut : public ShortCut {};
using Numbers = testing::Types<unsigned long long, unsigned int, unsigned short, unsigned char, long long, int, short,
                               signed char, bool>;
TYPED_TEST_SUITE(NumberShortCut, Numbers, );  // named by their position

// An application's own kind of a property: it might have overridden what is asked, so it is asked.
template <typename Base>
class Own : public Base {
 public:
  using Base::Base;
};

// One object with one property, 10800001.
template <typename Property>
struct Holder {
  template <typename Value>
  explicit Holder(Value value) : property(new Property(1, "held", IFC_CARD_VAR_READ_WRITE, value)) {
    object.addProp(property, 0);
  }
  TrelScalar object{"holder", 1, true};
  Property* property;
};

// What it takes to write the property into a buffer of exactly its size.
template <typename Property>
std::size_t costOfSerializing(Property& property) {
  char buffer[64];
  const int size = property.length() + TREL_TLV_HEAD_LEN;
  return instructionsOf([&] { property.serialize(buffer, size); });
}

// What it takes to read back what it writes.
template <typename Property>
std::size_t costOfDeserializing(Property& property) {
  char buffer[64];
  property.serialize(buffer, sizeof buffer);
  return instructionsOf([&] { property.deserialize(buffer); });
}

class Card : public TrelProtocolBase {
 public:
  int sendMsg(TRELMessage& message) override {
    return message.serialize(buffer, message.headerLen + message.sizeOfTlvs()) ? 1 : 0;
  }
  std::size_t costOf(const std::string& datagram) {
    return instructionsOf([&] { handleTrelMsg(static_cast<int>(datagram.size()), datagram.data(), "127.0.0.1"); });
  }
  char buffer[1200] = {};
};

// A card with one object of this class with eight numbers of that class, from 10800000 on.
template <typename Object, typename Property>
struct EightNumbers {
  EightNumbers() {
    for (unsigned int id = 0; id < 8; ++id)
      object.addProp(new Property(id, "number", IFC_CARD_VAR_READ_WRITE, id), 0);
    card.registerObject(&object);
  }
  Object object{"numbers", 1, true};
  Card card;
};

const std::string READ_EIGHT =
    "4F544E31 01 01 0007 | 10800000 01 0000 | 10800001 01 0000 | 10800002 01 0000 | 10800003 01 0000 | "
    "10800004 01 0000 | 10800005 01 0000 | 10800006 01 0000 | 10800007 01 0000"_hex;
const std::string WRITE_EIGHT =
    "4F544E31 01 02 0007 | 10800000 01 0004 00000001 | 10800001 01 0004 00000001 | 10800002 01 0004 00000001 | "
    "10800003 01 0004 00000001 | 10800004 01 0004 00000001 | 10800005 01 0004 00000001 | "
    "10800006 01 0004 00000001 | 10800007 01 0004 00000001"_hex;

using Number = TypeProperty<unsigned int>;

class OwnOid : public TrelScalar {
 public:
  using TrelScalar::TrelScalar;
  unsigned int getOID(unsigned int variable, unsigned int) override { return 0x10800000U + variable; }
};

class OwnCellOid : public TrelTable {
 public:
  using TrelTable::TrelTable;
  unsigned int getOID(unsigned int, unsigned int) override { return 0x50C14000U; }  // of its only cell
};

class OwnUpdate : public TrelScalar {
 public:
  using TrelScalar::TrelScalar;
  bool update(TrelProperty*, unsigned int) override { return true; }
};

}  // namespace

TYPED_TEST(NumberShortCut, ANumberOfTheLibrarysOwnClassIsWrittenWithoutBeingAsked) {
  Holder<TypeProperty<TypeParam>> known(TypeParam{1});
  Holder<Own<TypeProperty<TypeParam>>> asked(TypeParam{1});
  EXPECT_LT(costOfSerializing(*known.property), costOfSerializing(*asked.property));
}

TYPED_TEST(NumberShortCut, ANumberOfTheLibrarysOwnClassIsReadWithoutBeingAsked) {
  Holder<TypeProperty<TypeParam>> known(TypeParam{1});
  Holder<Own<TypeProperty<TypeParam>>> asked(TypeParam{1});
  EXPECT_LT(costOfDeserializing(*known.property), costOfDeserializing(*asked.property));
}

TEST_F(ShortCut, ATextOfTheLibrarysOwnClassIsWrittenWithoutBeingAsked) {
  Holder<StringProperty> known("text");
  Holder<Own<StringProperty>> asked("text");
  EXPECT_LT(costOfSerializing(*known.property), costOfSerializing(*asked.property));
}

TEST_F(ShortCut, AnOidThatAnObjectMayHaveOverriddenIsAskedForAndOtherwiseKnown) {
  EightNumbers<TrelScalar, Number> known;
  EightNumbers<OwnOid, Number> asked;
  // Twenty for each are more than the two ways of composing it differ.
  EXPECT_LT(known.card.costOf(READ_EIGHT) + 160, asked.card.costOf(READ_EIGHT));
  EXPECT_LT(known.card.costOf(WRITE_EIGHT) + 160, asked.card.costOf(WRITE_EIGHT));
}

// What it takes to write a number that stands in a table of this class.
template <typename Table>
std::size_t costOfWritingACell() {
  Table table("table", 3, true, 1);
  auto* const cell = new Number(5, "cell", IFC_CARD_VAR_READ_WRITE, 1U);
  table.addProp(cell, 0);
  return costOfSerializing(*cell);
}

TEST_F(ShortCut, AnOidInATableIsKnownToo) {
  EXPECT_LT(costOfWritingACell<TrelTable>(), costOfWritingACell<OwnCellOid>());
}

// A write to a card with one number of this class.
template <typename Property, typename Value>
std::size_t costOfWriting(Value value) {
  Holder<Property> holder(value);
  Card card;
  card.registerObject(&holder.object);
  char tlv[64];
  const int length = holder.property->serialize(tlv, sizeof tlv);
  return card.costOf("4F544E31 01 02 0007"_hex + std::string(tlv, static_cast<std::size_t>(length)));
}

// Both ask for the value check; the one that must be asked for its OID, type and length too takes a hundred more.
TYPED_TEST(NumberShortCut, AWriteIsCheckedWithoutAskingANumberOfTheLibrarysOwnClass) {
  const TypeParam value{1};
  EXPECT_LT(costOfWriting<TypeProperty<TypeParam>>(value) + 50, costOfWriting<Own<TypeProperty<TypeParam>>>(value));
}

TEST_F(ShortCut, AnObjectThatDoesNotOverrideUpdateIsNotAskedForIt) {
  EightNumbers<TrelScalar, Number> known;
  EightNumbers<OwnUpdate, Number> asked;
  EXPECT_LT(known.card.costOf(READ_EIGHT), asked.card.costOf(READ_EIGHT));
}

// What a read of these variables takes on a card with these objects.
std::size_t costOfReading(const std::vector<TrelObject*>& objects, const std::vector<unsigned int>& oids) {
  Card card;
  for (TrelObject* object : objects)
    card.registerObject(object);
  std::string request = "4F544E31 01 01 0007"_hex;
  for (const unsigned int oid : oids) {
    std::string tlv = "00000000 01 0000"_hex;
    for (std::size_t i = 0; i < 4; ++i)
      tlv[i] = static_cast<char>(oid >> (24 - 8 * i));
    request += tlv;
  }
  return card.costOf(request);
}

TEST_F(ShortCut, EachObjectIsFoundAmongAllThatThereCanBeAsIfItWereAlone) {
  std::vector<std::unique_ptr<TrelObject>> owned;
  std::vector<TrelObject*> objects;
  const auto add = [&](std::unique_ptr<TrelObject> object) {
    object->addProp(new Number(1, "number", IFC_CARD_VAR_READ_WRITE, 1U), 0);
    objects.push_back(object.get());
    owned.push_back(std::move(object));
  };
  for (const bool common : {false, true}) {
    for (unsigned int group = 0; group < 33; ++group)
      add(std::make_unique<TrelScalar>("scalar", group, common));
    for (unsigned int number = 0; number < 65; ++number)
      add(std::make_unique<TrelTable>("table", number, common, 1));
  }
  for (const bool common : {false, true}) {
    for (const ifcCard::IfcCardObjectType type : {ifcCard::SCALAR, ifcCard::TABLE}) {
      SCOPED_TRACE(std::string(common ? "common " : "") + (type == ifcCard::TABLE ? "tables" : "scalars"));
      TrelObject* first = nullptr;
      std::vector<unsigned int> oids;
      for (TrelObject* object : objects) {
        if (object->common != common || object->objectType != type) continue;
        const unsigned int oid = object->getOID(1, 0);
        if (object->id >= (type == ifcCard::TABLE ? 64U : 32U) || !object->isValidObjectId(oid)) continue;  // has none
        if (first == nullptr) first = object;
        oids.push_back(oid);
      }
      ASSERT_GE(oids.size(), 4U);
      const std::vector<unsigned int> oneOfThem(oids.size(), oids.front());
      EXPECT_EQ(costOfReading(objects, oids), costOfReading({first}, oneOfThem));
    }
  }
}

TEST_F(ShortCut, AnAutonomousMessageFindsItsObjectsToo) {
  const auto costAmong = [](unsigned int others) {
    EightNumbers<TrelScalar, Number> numbers;
    std::vector<std::unique_ptr<TrelTable>> tables;
    Card card;
    for (unsigned int number = 0; number < others; ++number) {
      tables.push_back(std::make_unique<TrelTable>("other", number, false, 1));
      card.registerObject(tables.back().get());
    }
    card.registerObject(&numbers.object);
    return card.costOf("4F544E31 01 05 0007 | 00000000 00000000 | 10800000 01 0004 00000001"_hex);
  };
  EXPECT_LT(costAmong(60), costAmong(1) + 20);
}

TEST_F(ShortCut, EveryPropertyOfATableIsFoundAtOneCost) {
  TrelTable table("table", 3, false, 4);
  for (unsigned int row = 0; row < table.rowCount; ++row) {
    for (unsigned int column = 20; column < 60; ++column)
      table.addProp(new Number(column, "cell", IFC_CARD_VAR_READ_WRITE, 1U), row);
  }
  const auto costOf = [&](unsigned int column, unsigned int row) {
    return instructionsOf([&] { table.getProp(column, row); });
  };
  for (unsigned int row = 0; row < table.rowCount; ++row) {
    EXPECT_EQ(costOf(20, row), costOf(40, 1)) << row;
    EXPECT_EQ(costOf(59, row), costOf(40, 1)) << row;
  }
}

TEST_F(ShortCut, IdsThatLieFarApartGetNoPlaces) {
  const auto costOfFinding = [](unsigned int last) {
    TrelScalar scalar("scalar", 1, true);
    for (const unsigned int variable : {0U, last})
      scalar.addProp(new Number(variable, "number", IFC_CARD_VAR_READ_WRITE, 1U), 0);
    return instructionsOf([&] { scalar.getProp(last, 0); });
  };
  // 64 free places and as many as there are properties again.
  EXPECT_EQ(costOfFinding(67), costOfFinding(1));
  EXPECT_LT(costOfFinding(67), costOfFinding(68));
}

TEST_F(ShortCut, ARowWithoutFreePlacesIsWalkedWithoutLookingForThem) {
  const auto costOfWalking = [](unsigned int last) {
    TrelScalar scalar("scalar", 1, true);
    for (unsigned int variable = 0; variable < 39; ++variable)
      scalar.addProp(new Number(variable, "number", IFC_CARD_VAR_READ_WRITE, 1U), 0);
    scalar.addProp(new Number(last, "number", IFC_CARD_VAR_READ_WRITE, 1U), 0);
    Card card;
    std::vector<TrelObject*> objects = {&scalar};
    return instructionsOf([&] { card.eventAdd(objects); });
  };
  EXPECT_LT(costOfWalking(39) + 40, costOfWalking(40));  // a comparison and a jump less for each
}
