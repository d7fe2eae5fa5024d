#include <gtest/gtest.h>

#include <json/Array.h>
#include <json/Object.h>
#include <json/UnknownElement.h>

#include <functional>
#include <string>

#include "json/JsonTestSupport.h"

using namespace json;

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

std::string exceptionText(const std::function<void()>& action) {
  try {
    action();
  } catch (const Exception& e) {
    return e.what();
  }
  return "no exception";
}

}  // namespace

TEST(ElementTest, DefaultIsNullAndEachConstructorGivesItsKind) {
  EXPECT_EQ(kindOf(UnknownElement()), "null");
  EXPECT_EQ(kindOf(UnknownElement(Null())), "null");
  EXPECT_EQ(kindOf(UnknownElement(Boolean(true))), "boolean");
  EXPECT_EQ(kindOf(UnknownElement(String("x"))), "string");
  EXPECT_EQ(kindOf(UnknownElement(Number(1.5))), "number");
  EXPECT_EQ(kindOf(UnknownElement(Object())), "object");
  EXPECT_EQ(kindOf(UnknownElement(Array())), "array");
}

TEST(ElementTest, TrivialTypesDefaultAndConvertToTheirValue) {
  EXPECT_EQ(Number().Value(), 0.0);
  EXPECT_FALSE(Boolean().Value());
  EXPECT_EQ(String().Value(), "");
  Number n(2.5);
  double& ref = n;
  ref = 3;
  EXPECT_EQ(n.Value(), 3.0);
}

TEST(ElementTest, CastVisitorsSeeOnlyTheirOwnKind) {
  UnknownElement number(Number(7));
  UnknownElement::ConstCastVisitor_T<Number> asNumber;
  UnknownElement::ConstCastVisitor_T<String> asString;
  number.Accept(asNumber);
  number.Accept(asString);
  ASSERT_NE(asNumber.m_pElement, nullptr);
  EXPECT_EQ(asNumber.m_pElement->Value(), 7.0);
  EXPECT_EQ(asString.m_pElement, nullptr);
}

TEST(ElementTest, NonConstConversionReplacesAnotherKindWithItsDefault) {
  UnknownElement element(Number(42));
  String& s = element.convertTo<String>();
  EXPECT_EQ(s.Value(), "");
  EXPECT_EQ(kindOf(element), "string");

  UnknownElement text(String("abc"));
  Object& object = text;  // the conversion operator
  EXPECT_TRUE(object.empty());
  EXPECT_EQ(kindOf(text), "object");
}

TEST(ElementTest, NonConstConversionKeepsTheSameKind) {
  UnknownElement element(String("keep"));
  EXPECT_EQ(element.convertTo<String>().Value(), "keep");
}

TEST(ElementTest, ConstConversionOfAnotherKindThrowsBadCast) {
  const UnknownElement element(Number(42));
  EXPECT_EQ(exceptionText([&] { element.convertTo<String>(); }), "Bad cast");
  EXPECT_EQ(exceptionText([&] { const Object& o = element; (void)o; }), "Bad cast");
  EXPECT_EQ(element.convertTo<Number>().Value(), 42.0);
  EXPECT_EQ(kindOf(element), "number");
}

TEST(ElementTest, ObjectKeepsInsertionOrder) {
  Object object;
  object.insert(Object::Member("z", Number(1)));
  object.insert(Object::Member("a", Number(2)));
  object.insert(Object::Member("m", Number(3)), object.begin());
  std::string names;
  for (const Object::Member& member : object) names += member.name;
  EXPECT_EQ(names, "mza");
  EXPECT_EQ(object.size(), 3u);
}

TEST(ElementTest, ObjectInsertOfAnExistingNameThrows) {
  Object object;
  object.insert(Object::Member("a"));
  EXPECT_EQ(exceptionText([&] { object.insert(Object::Member("a", Number(2))); }),
            "Object member already exists: a");
  EXPECT_EQ(object.size(), 1u);
  EXPECT_EQ(kindOf(object.begin()->element), "null");
}

TEST(ElementTest, ObjectFindEraseAndClear) {
  Object object;
  object["a"] = Number(1);
  object["b"] = Number(2);
  EXPECT_EQ(object.find("c"), object.end());
  Object::iterator b = object.find("b");
  ASSERT_NE(b, object.end());
  EXPECT_EQ(b->name, "b");
  object.erase(object.find("a"));
  EXPECT_EQ(object.size(), 1u);
  EXPECT_EQ(object.begin()->name, "b");
  object.clear();
  EXPECT_TRUE(object.empty());
}

TEST(ElementTest, MissingNameIsAddedAsNullThroughNonConstAndThrowsThroughConst) {
  Object object;
  object["first"] = Number(1);
  UnknownElement& added = object["second"];
  EXPECT_EQ(kindOf(added), "null");
  EXPECT_EQ(object.size(), 2u);
  EXPECT_EQ(std::next(object.begin())->name, "second");

  const Object& constObject = object;
  EXPECT_EQ(exceptionText([&] { constObject["third"]; }), "Object member not found: third");
  EXPECT_EQ(object.size(), 2u);
}

TEST(ElementTest, ElementIndexingTurnsTheElementIntoAContainer) {
  UnknownElement element(Number(3));
  element["name"] = String("v");
  EXPECT_EQ(kindOf(element), "object");
  EXPECT_EQ(element["name"].convertTo<String>().Value(), "v");

  const UnknownElement& constElement = element;
  EXPECT_EQ(exceptionText([&] { constElement["other"]; }), "Object member not found: other");
  EXPECT_EQ(exceptionText([&] { constElement[size_t(0)]; }), "Bad cast");

  element[size_t(1)] = Boolean(true);
  EXPECT_EQ(kindOf(element), "array");
  EXPECT_EQ(element.convertTo<Array>().size(), 2u);
}

TEST(ElementTest, ArrayIndexPastTheEndFillsTheGapWithNulls) {
  Array array;
  array.insert(Number(1));
  array[3] = String("x");
  ASSERT_EQ(array.size(), 4u);
  EXPECT_EQ(kindOf(array[0]), "number");
  EXPECT_EQ(kindOf(array[1]), "null");
  EXPECT_EQ(kindOf(array[2]), "null");
  EXPECT_EQ(kindOf(array[3]), "string");
  const Array& constArray = array;
  EXPECT_EQ(exceptionText([&] { constArray[4]; }), "Array out of bounds");
}

TEST(ElementTest, ArrayInsertEraseClear) {
  Array array;
  array.insert(Number(2));
  array.insert(Number(1), array.begin());
  EXPECT_EQ(array[0].convertTo<Number>().Value(), 1.0);
  array.erase(array.begin());
  EXPECT_EQ(array[0].convertTo<Number>().Value(), 2.0);
  array.clear();
  EXPECT_TRUE(array.empty());
}

TEST(ElementTest, CopiesAreDeep) {
  UnknownElement original;
  original["list"][size_t(0)]["x"] = Number(1);
  UnknownElement copy(original);
  copy["list"][size_t(0)]["x"] = Number(2);
  EXPECT_EQ(original["list"][size_t(0)]["x"].convertTo<Number>().Value(), 1.0);
  Object object = original.convertTo<Object>();
  object["list"] = Null();
  EXPECT_EQ(kindOf(original["list"]), "array");
}

TEST(ElementTest, AssignmentFromOwnChildAndToItself) {
  UnknownElement element;
  element["child"]["grandchild"] = String("deep");
  element = element["child"];
  EXPECT_EQ(element["grandchild"].convertTo<String>().Value(), "deep");
  EXPECT_EQ(element.convertTo<Object>().size(), 1u);

  UnknownElement& same = element;
  element = same;
  EXPECT_EQ(element["grandchild"].convertTo<String>().Value(), "deep");

  UnknownElement array;
  array[size_t(0)][size_t(0)] = Number(5);
  array = std::move(array[size_t(0)]);
  EXPECT_EQ(array[size_t(0)].convertTo<Number>().Value(), 5.0);
}

TEST(ElementTest, EqualityByKindValueAndOrder) {
  EXPECT_EQ(UnknownElement(), UnknownElement(Null()));
  EXPECT_EQ(UnknownElement(Number(1)), UnknownElement(Number(1)));
  EXPECT_NE(UnknownElement(Number(1)), UnknownElement(Number(2)));
  EXPECT_NE(UnknownElement(Number(1)), UnknownElement(String("1")));
  EXPECT_NE(UnknownElement(Object()), UnknownElement(Array()));
  EXPECT_NE(UnknownElement(Null()), UnknownElement(Boolean(false)));

  Object ab, ba;
  ab["a"] = Number(1);
  ab["b"] = Number(2);
  ba["b"] = Number(2);
  ba["a"] = Number(1);
  EXPECT_NE(ab, ba);
  Object ab2 = ab;
  EXPECT_EQ(ab, ab2);
  ab2["c"];
  EXPECT_NE(ab, ab2);

  Array one, other;
  one.insert(Number(1));
  one.insert(String("s"));
  other.insert(String("s"));
  other.insert(Number(1));
  EXPECT_NE(one, other);
  EXPECT_EQ(UnknownElement(one), UnknownElement(Array(one)));
}

TEST(ElementTest, MembersCompareByNameAndElement) {
  EXPECT_EQ(Object::Member("a", Number(1)), Object::Member("a", Number(1)));
  EXPECT_FALSE(Object::Member("a", Number(1)) == Object::Member("b", Number(1)));
  EXPECT_FALSE(Object::Member("a", Number(1)) == Object::Member("a", Number(2)));
}

TEST(ElementTest, MovedFromElementIsNull) {
  UnknownElement element(String("x"));
  UnknownElement moved(std::move(element));
  EXPECT_EQ(kindOf(element), "null");
  EXPECT_EQ(kindOf(moved), "string");
}
