#include "support/TestPrelude.h"

#include "json/JsonTestSupport.h"

using namespace json;
using jsontest::errorOf;
using jsontest::flat;

// Const conversions (through the cast visitors) of another kind are a bad cast and
// leave the element as it was; non-const ones keep the same kind and replace another
// by its default.
TEST(ElementTest, Conversions) {
  const UnknownElement number(Number(42));
  EXPECT_EQ(errorOf([&] { number.convertTo<String>(); }) + errorOf([&] { const Object& o = number; (void)o; }) +
                flat(number.convertTo<Number>()), "Bad castBad cast42");
  UnknownElement element(String("keep"));
  EXPECT_EQ(element.convertTo<String>().Value(), "keep");
  EXPECT_EQ(element.convertTo<Number>().Value(), 0.0);
  EXPECT_EQ(flat(static_cast<Object&>(element)), "{}");  // the conversion operator
}

// Objects keep their insertion order; array indexes past the end fill the gap with
// nulls; indexing an element turns it into the container indexed. Const access never
// adds.
TEST(ElementTest, ContainersKeepOrderFillGapsAndRefuseWhatIsMissing) {
  Object object;
  object.insert(Object::Member("z", Number(1)));
  object.insert(Object::Member("a"));
  object.insert(Object::Member("m", Number(3)), object.begin());
  EXPECT_EQ(errorOf([&] { object.insert(Object::Member("a", Number(2))); }), "Object member already exists: a");
  EXPECT_TRUE(object.find("c") == object.end());
  object.erase(object.find("m"));
  object["b"];
  Array array;
  array.insert(Number(2));
  array.insert(Number(1), array.begin());
  array.erase(array.begin());
  array[3] = String("x");
  UnknownElement element(Number(3));
  element["name"] = String("v");
  EXPECT_EQ(flat(object) + flat(array) + flat(element), R"({"z":1,"a":null,"b":null}[2,null,null,"x"]{"name":"v"})");
  EXPECT_EQ(errorOf([&] { std::as_const(object)["third"]; }) + "|" + errorOf([&] { std::as_const(array)[4]; }) + "|" +
                errorOf([&] { std::as_const(element)["other"]; }) + "|" +
                errorOf([&] { std::as_const(element)[size_t(0)]; }),
            "Object member not found: third|Array out of bounds|Object member not found: other|Bad cast");
  element[size_t(1)] = Boolean(true);
  EXPECT_EQ(flat(element), "[null,true]");
}

TEST(ElementTest, CopiesAreDeepAndAssignmentMayTakeOwnChild) {
  UnknownElement original;
  original["list"][size_t(0)]["x"] = Number(1);
  UnknownElement copy(original);
  copy["list"][size_t(0)]["x"] = Number(2);
  EXPECT_EQ(flat(original), R"({"list":[{"x":1}]})");
  original = original["list"][size_t(0)];
  original = static_cast<UnknownElement&>(original);  // itself
  copy = std::move(copy["list"]);
  UnknownElement moved(std::move(copy));
  EXPECT_EQ(flat(original) + " " + flat(copy) + " " + flat(moved), R"({"x":1} null [{"x":2}])");
}

// Objects and arrays compare in order.
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
  EXPECT_TRUE(one != other && one == Array(one) && !(one == Array()));  // arrays compare directly, too
}
