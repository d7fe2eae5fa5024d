#include <iterator>

#include "json/JsonTestSupport.h"

using namespace json;
using jsontest::errorOf;

namespace {

// Names the kind through the cast visitors, the library's only type test.
std::string kindOf(const UnknownElement& element) {
  struct Probe : ConstVisitor {
    void Visit(const Null&) override { kind = "null"; }
    void Visit(const Boolean&) override { kind = "boolean"; }
    void Visit(const String&) override { kind = "string"; }
    void Visit(const UnsignedInteger&) override { kind = "unsigned"; }
    void Visit(const Number&) override { kind = "number"; }
    void Visit(const Object&) override { kind = "object"; }
    void Visit(const Array&) override { kind = "array"; }
    std::string kind;
  } probe;
  element.Accept(probe);
  return probe.kind;
}

// The kinds of a sequence's elements, in order.
template <typename Elements>
std::string kindsOf(const Elements& elements) {
  std::string kinds;
  for (const UnknownElement& element : elements) kinds += kindOf(element) + ";";
  return kinds;
}
// "name=kind;" of an object's members, in order.
std::string membersOf(const Object& object) {
  std::string members;
  for (const Object::Member& member : object) members += member.name + "=" + kindOf(member.element) + ";";
  return members;
}

}  // namespace

TEST(ElementTest, EachConstructorGivesItsKindAndTrivialTypesTheirDefaults) {
  const UnknownElement made[] = {UnknownElement(), Null(),   Boolean(true), String("x"),
                                 Number(1.5),      Object(), Array()};
  EXPECT_EQ(kindsOf(made), "null;null;boolean;string;number;object;array;");
  EXPECT_TRUE(Number().Value() == 0.0 && !Boolean().Value() && String().Value().empty());
  Number n(2.5);
  static_cast<double&>(n) = 3;
  EXPECT_EQ(n.Value(), 3.0);
}

TEST(ElementTest, ConversionsAndCastVisitors) {
  UnknownElement::ConstCastVisitor_T<Number> asNumber;
  UnknownElement::ConstCastVisitor_T<String> asString;
  const UnknownElement number(Number(42));
  number.Accept(asNumber);
  number.Accept(asString);
  ASSERT_NE(asNumber.m_pElement, nullptr);
  EXPECT_EQ(asNumber.m_pElement->Value(), 42.0);
  EXPECT_EQ(asString.m_pElement, nullptr);
  // Const: another kind is a bad cast and the element stays as it was.
  EXPECT_EQ(errorOf([&] { number.convertTo<String>(); }), "Bad cast");
  EXPECT_EQ(errorOf([&] { const Object& o = number; (void)o; }), "Bad cast");
  EXPECT_EQ(number.convertTo<Number>().Value(), 42.0);
  // Non-const: the same kind is kept, another is replaced by its default.
  UnknownElement element(String("keep"));
  EXPECT_EQ(element.convertTo<String>().Value(), "keep");
  EXPECT_EQ(element.convertTo<Number>().Value(), 0.0);
  EXPECT_EQ(kindOf(element), "number");
  Object& object = element;  // the conversion operator
  EXPECT_TRUE(object.empty());
  EXPECT_EQ(kindOf(element), "object");
}

TEST(ElementTest, ObjectKeepsInsertionOrderAndRefusesDuplicateNames) {
  Object object;
  object.insert(Object::Member("z", Number(1)));
  object.insert(Object::Member("a"));
  object.insert(Object::Member("m", Number(3)), object.begin());
  EXPECT_EQ(errorOf([&] { object.insert(Object::Member("a", Number(2))); }),
            "Object member already exists: a");
  EXPECT_EQ(membersOf(object), "m=number;z=number;a=null;");
  EXPECT_EQ(object.find("c"), object.end());
  object.erase(object.find("m"));
  object["b"];  // a missing name is added as null...
  const Object& constObject = object;  // ...but only through non-const access
  EXPECT_EQ(errorOf([&] { constObject["third"]; }), "Object member not found: third");
  EXPECT_EQ(membersOf(object), "z=number;a=null;b=null;");
  object.clear();
  EXPECT_TRUE(object.empty());
}

TEST(ElementTest, ArrayIndexPastTheEndFillsTheGapWithNulls) {
  Array array;
  array.insert(Number(2));
  array.insert(Number(1), array.begin());
  EXPECT_EQ(array[0].convertTo<Number>().Value(), 1.0);
  array.erase(array.begin());
  array[3] = String("x");
  EXPECT_EQ(kindsOf(array), "number;null;null;string;");
  EXPECT_EQ(array[0].convertTo<Number>().Value(), 2.0);
  const Array& constArray = array;
  EXPECT_EQ(errorOf([&] { constArray[4]; }), "Array out of bounds");
  array.clear();
  EXPECT_TRUE(array.empty());
}

TEST(ElementTest, ElementIndexingTurnsTheElementIntoAContainer) {
  UnknownElement element(Number(3));
  element["name"] = String("v");
  EXPECT_EQ(membersOf(element), "name=string;");
  EXPECT_EQ(element["name"].convertTo<String>().Value(), "v");
  const UnknownElement& constElement = element;
  EXPECT_EQ(errorOf([&] { constElement["other"]; }), "Object member not found: other");
  EXPECT_EQ(errorOf([&] { constElement[size_t(0)]; }), "Bad cast");
  element[size_t(1)] = Boolean(true);
  EXPECT_EQ(kindsOf(element.convertTo<Array>()), "null;boolean;");
}

TEST(ElementTest, CopiesAreDeepAndAssignmentMayTakeOwnChild) {
  UnknownElement original;
  original["list"][size_t(0)]["x"] = Number(1);
  UnknownElement copy(original);
  copy["list"][size_t(0)]["x"] = Number(2);
  Object object = original.convertTo<Object>();
  object["list"] = Null();
  EXPECT_EQ(original["list"][size_t(0)]["x"].convertTo<Number>().Value(), 1.0);

  original = original["list"][size_t(0)];
  EXPECT_EQ(original["x"].convertTo<Number>().Value(), 1.0);
  EXPECT_EQ(original.convertTo<Object>().size(), 1u);
  UnknownElement& same = original;
  original = same;
  EXPECT_EQ(original["x"].convertTo<Number>().Value(), 1.0);

  copy = std::move(copy["list"]);
  EXPECT_EQ(copy[size_t(0)]["x"].convertTo<Number>().Value(), 2.0);
  UnknownElement moved(std::move(copy));
  EXPECT_EQ(kindOf(copy) + " " + kindOf(moved), "null array");
}

TEST(ElementTest, EqualityByKindValueAndOrder) {
  const Object ab = jsontest::read(R"({"a":1,"b":2})"), ba = jsontest::read(R"({"b":2,"a":1})"),
               abc = jsontest::read(R"({"a":1,"b":2,"c":null})");
  const Object lists = jsontest::read(R"({"one":[1,"s"],"other":["s",1]})");
  const Array &one = lists["one"], &other = lists["other"];
  const struct { UnknownElement left, right; bool equal; } rows[] = {
      {UnknownElement(), Null(), true}, {Number(1), Number(1), true}, {Number(1), Number(2), false},
      {Number(1), String("1"), false}, {Object(), Array(), false}, {Null(), Boolean(false), false}, {ab, ba, false},
      {ab, Object(ab), true}, {ab, abc, false}, {one, other, false}, {one, Array(one), true}};
  for (size_t i = 0; i < std::size(rows); ++i) {
    EXPECT_EQ(rows[i].left == rows[i].right, rows[i].equal) << "row " << i;
    EXPECT_EQ(rows[i].left != rows[i].right, !rows[i].equal) << "row " << i;
  }
  // Objects, arrays and members compare directly as well as inside elements.
  EXPECT_TRUE(ab != ba && ab == Object(ab) && ab != abc && one != other && one == Array(one));
  const Object::Member a1("a", Number(1));
  EXPECT_TRUE(a1 == Object::Member("a", Number(1)) && !(a1 == Object::Member("b", Number(1))) &&
              !(a1 == Object::Member("a", Number(2))));
}
