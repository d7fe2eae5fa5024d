// The double dispatch over the element kinds. Accepting a visitor is the only way
// to learn an element's kind: there is no kind tag. Both classes have the same
// shape, one operation per kind, in a fixed order.
#pragma once

#include <NorvaneExport.h>

#include <json/TrivialType.h>

namespace json {

class Object;
class Array;

class NORVANE_API Visitor {
 public:
  virtual ~Visitor();

  virtual void Visit(Null& null) = 0;
  virtual void Visit(Boolean& boolean) = 0;
  virtual void Visit(String& string) = 0;
  virtual void Visit(UnsignedInteger& unsignedInteger) = 0;
  virtual void Visit(Number& number) = 0;
  virtual void Visit(Object& object) = 0;
  virtual void Visit(Array& array) = 0;
};

class NORVANE_API ConstVisitor {
 public:
  virtual ~ConstVisitor();

  virtual void Visit(const Null& null) = 0;
  virtual void Visit(const Boolean& boolean) = 0;
  virtual void Visit(const String& string) = 0;
  virtual void Visit(const UnsignedInteger& unsignedInteger) = 0;
  virtual void Visit(const Number& number) = 0;
  virtual void Visit(const Object& object) = 0;
  virtual void Visit(const Array& array) = 0;
};

}  // namespace json
