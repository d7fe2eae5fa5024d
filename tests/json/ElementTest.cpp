#include <iterator>

#include "json/JsonTestSupport.h"

using namespace json;
using jsontest::errorOf;
using jsontest::flat;

TEST(ElementTest, ConstructorsDefaultsAndConversions) {
  const UnknownElement kinds[] = {UnknownElement(), Null(), Boolean(true), String("x"), Number(1.5),
                                  Object(),         Array(), Number(),      Boolean(),   String()};
  std::string made;
  for (const UnknownElement& element : kinds) made += flat(element) + " ";
  EXPECT_EQ(made, R"(null null true "x" 1.5 {} [] 0 false "" )");

  // Const (through the cast visitors): another kind is a bad cast and the element
  // stays as it was.
  const UnknownElement number(Number(42));
  EXPECT_EQ(errorOf([&] { number.convertTo<String>(); }), "Bad cast");
  EXPECT_EQ(errorOf([&] { const Object& o = number; (void)o; }), "Bad cast");
  EXPECT_EQ(number.convertTo<Number>().Value(), 42.0);
  // Non-const: the same kind is kept, another is replaced by its default.
  UnknownElement element(String("keep"));
  EXPECT_EQ(element.convertTo<String>().Value(), "keep");
  EXPECT_EQ(element.convertTo<Number>().Value(), 0.0);
  EXPECT_EQ(flat(static_cast<Object&>(element)), "{}");  // the conversion operator
}

TEST(ElementTest, ObjectKeepsInsertionOrderAndRefusesDuplicateNames) {
  Object object;
  object.insert(Object::Member("z", Number(1)));
  object.insert(Object::Member("a"));
  object.insert(Object::Member("m", Number(3)), object.begin());
  EXPECT_EQ(errorOf([&] { object.insert(Object::Member("a", Number(2))); }), "Object member already exists: a");
  EXPECT_EQ(flat(object), R"({"m":3,"z":1,"a":null})");
  EXPECT_EQ(object.find("c"), object.end());
  object.erase(object.find("m"));
  object["b"];  // a missing name is added as null...
  const Object& constObject = object;  // ...but only through non-const access
  EXPECT_EQ(errorOf([&] { constObject["third"]; }), "Object member not found: third");
  EXPECT_EQ(flat(object), R"({"z":1,"a":null,"b":null})");
}

// An array index past the end fills the gap with nulls; indexing an element turns
// it into the container indexed.
TEST(ElementTest, IndexingFillsGapsAndTurnsElementsIntoContainers) {
  Array array;
  array.insert(Number(2));
  array.insert(Number(1), array.begin());
  EXPECT_EQ(flat(array), "[1,2]");
  array.erase(array.begin());
  array[3] = String("x");
  EXPECT_EQ(flat(array), R"([2,null,null,"x"])");
  const Array& constArray = array;
  EXPECT_EQ(errorOf([&] { constArray[4]; }), "Array out of bounds");

  UnknownElement element(Number(3));
  element["name"] = String("v");
  EXPECT_EQ(flat(element), R"({"name":"v"})");
  const UnknownElement& constElement = element;
  EXPECT_EQ(errorOf([&] { constElement["other"]; }), "Object member not found: other");
  EXPECT_EQ(errorOf([&] { constElement[size_t(0)]; }), "Bad cast");
  element[size_t(1)] = Boolean(true);
  EXPECT_EQ(flat(element), "[null,true]");
}

TEST(ElementTest, CopiesAreDeepAndAssignmentMayTakeOwnChild) {
  UnknownElement original;
  original["list"][size_t(0)]["x"] = Number(1);
  UnknownElement copy(original);
  copy["list"][size_t(0)]["x"] = Number(2);
  Object object = original.convertTo<Object>();
  object["list"] = Null();
  EXPECT_EQ(flat(original), R"({"list":[{"x":1}]})");
  original = original["list"][size_t(0)];
  UnknownElement& same = original;
  original = same;
  EXPECT_EQ(flat(original), R"({"x":1})");
  copy = std::move(copy["list"]);
  UnknownElement moved(std::move(copy));
  EXPECT_EQ(flat(copy) + " " + flat(moved), R"(null [{"x":2}])");
}

TEST(ElementTest, EqualityByKindValueAndOrder) {
  const Object ab = jsontest::read(R"({"a":1,"b":2})"), ba = jsontest::read(R"({"b":2,"a":1})"),
               abc = jsontest::read(R"({"a":1,"b":2,"c":null})");
  const Object lists = jsontest::read(R"({"one":[1,"s"],"other":["s",1]})");
  const Array &one = lists["one"], &other = lists["other"];
  const struct { UnknownElement left, right; bool equal; } rows[] = {
      {UnknownElement(), Null(), true}, {Number(1), Number(1), true}, {Number(1), Number(2), false},
      {Number(1), String("1"), false}, {Object(), Array(), false}, {Null(), Boolean(false), false}, {ab, ba, false},
      {ab, Object(ab), true}, {ab, abc, false}, {one, other, false}, {one, Array(one), true}, {one, Array(), false}};
  for (size_t i = 0; i < std::size(rows); ++i)
    EXPECT_EQ(std::make_pair(rows[i].left == rows[i].right, rows[i].left != rows[i].right),
              std::make_pair(rows[i].equal, !rows[i].equal)) << "row " << i;
  const Object::Member a1("a", Number(1));  // members compare by name and value
  EXPECT_TRUE(a1 == Object::Member("a", Number(1)) && !(a1 == Object::Member("b", Number(1))) &&
              !(a1 == Object::Member("a", Number(2))));
}
