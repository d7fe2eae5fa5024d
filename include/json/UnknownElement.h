// A dynamically typed document element: a value-semantic handle that owns one
// element of any kind. Copies are deep. Its kind is learnt only through visitors;
// the cast visitors below are the library's own type test.
//
// Copying, comparing and destroying work without recursion on the machine's
// stack, so documents nested arbitrarily deep are safe to handle.
#pragma once

#include <NorvaneExport.h>

#include <json/Exception.h>
#include <json/NodeAllocator.h>
#include <json/TrivialType.h>
#include <json/Visitor.h>

#include <cstddef>
#include <string>

namespace json {

class Object;
class Array;
class Reader;
class ElementTree;

class NORVANE_API UnknownElement {
 public:
  // A null element.
  UnknownElement();
  UnknownElement(const UnknownElement& unknown);
  // Leaves other null.
  UnknownElement(UnknownElement&& other) noexcept;
  UnknownElement(const Object& object);
  UnknownElement(const Array& array);
  UnknownElement(const Number& number);
  UnknownElement(const Boolean& boolean);
  UnknownElement(const String& string);
  UnknownElement(const Null& null);
  UnknownElement(Object&& object);
  UnknownElement(Array&& array);
  UnknownElement(String&& string);

  ~UnknownElement();

  // Clones the right side before it lets go of the old content, so an element can
  // take the value of one of its own children. Assigning to itself does nothing.
  UnknownElement& operator=(const UnknownElement& unknown);
  UnknownElement& operator=(UnknownElement&& other) noexcept;

  // Const conversions throw Exception("Bad cast") when the element is of another
  // kind; non-const ones never fail (see convertTo).
  operator const Object&() const;
  operator const Array&() const;
  operator const Number&() const;
  operator const Boolean&() const;
  operator const String&() const;
  operator const Null&() const;

  operator Object&();
  operator Array&();
  operator Number&();
  operator Boolean&();
  operator String&();
  operator Null&();

  // The element as a T. If it holds another kind, that content is discarded and
  // replaced by a default T first: asking a string for its object turns it into an
  // empty object.
  template <typename ElementTypeT>
  ElementTypeT& convertTo();

  // The element as a T; throws Exception("Bad cast") if it holds another kind.
  template <typename ElementTypeT>
  const ElementTypeT& convertTo() const;

  // Object member access: the non-const form turns the element into an object if
  // needed and adds a missing name as null; the const form throws.
  UnknownElement& operator[](const std::string& key);
  const UnknownElement& operator[](const std::string& key) const;
  // Array element access: the non-const form turns the element into an array if
  // needed and grows it with nulls; the const form throws.
  UnknownElement& operator[](size_t index);
  const UnknownElement& operator[](size_t index) const;

  void Accept(ConstVisitor& visitor) const;
  void Accept(Visitor& visitor);

  // Elements of different kinds are unequal; two nulls are equal; containers are
  // equal when their contents are equal pairwise in order.
  bool operator==(const UnknownElement& element) const;
  bool operator!=(const UnknownElement& element) const { return !(*this == element); }

  class Imp;
  template <typename ElementTypeT>
  class Imp_T;

  class CastVisitor;
  class ConstCastVisitor;
  template <typename ElementTypeT>
  class CastVisitor_T;
  template <typename ElementTypeT>
  class ConstCastVisitor_T;

 private:
  friend class Reader;
  friend class ElementTree;

  // Null while the element is null and has never been given a Null explicitly: a
  // default-constructed or moved-from element costs no allocation. Accept treats
  // it exactly like a held Null.
  Imp* m_pImp;
};

class NORVANE_API UnknownElement::Imp {
 public:
  static void* operator new(std::size_t size) { return NodeMemory::allocate(size); }
  static void operator delete(void* imp, std::size_t size) noexcept { NodeMemory::deallocate(imp, size); }

  virtual ~Imp();
  virtual Imp* Clone() const = 0;
  virtual bool Compare(const Imp& imp) const = 0;
  virtual void Accept(Visitor& visitor) = 0;
  virtual void Accept(ConstVisitor& visitor) const = 0;
};

class NORVANE_API UnknownElement::CastVisitor : public Visitor {
 public:
  void Visit(Null&) override {}
  void Visit(Boolean&) override {}
  void Visit(String&) override {}
  void Visit(UnsignedInteger&) override {}
  void Visit(Number&) override {}
  void Visit(Object&) override {}
  void Visit(Array&) override {}
};

class NORVANE_API UnknownElement::ConstCastVisitor : public ConstVisitor {
 public:
  void Visit(const Null&) override {}
  void Visit(const Boolean&) override {}
  void Visit(const String&) override {}
  void Visit(const UnsignedInteger&) override {}
  void Visit(const Number&) override {}
  void Visit(const Object&) override {}
  void Visit(const Array&) override {}
};

template <typename ElementTypeT>
class UnknownElement::CastVisitor_T : public UnknownElement::CastVisitor {
 public:
  using CastVisitor::Visit;
  void Visit(ElementTypeT& element) override { m_pElement = &element; }
  ElementTypeT* m_pElement = nullptr;
};

template <typename ElementTypeT>
class UnknownElement::ConstCastVisitor_T : public UnknownElement::ConstCastVisitor {
 public:
  using ConstCastVisitor::Visit;
  void Visit(const ElementTypeT& element) override { m_pElement = &element; }
  const ElementTypeT* m_pElement = nullptr;
};

template <typename ElementTypeT>
class UnknownElement::Imp_T : public UnknownElement::Imp {
 public:
  Imp_T() = default;
  explicit Imp_T(const ElementTypeT& element) : m_Element(element) {}
  explicit Imp_T(ElementTypeT&& element) : m_Element(std::move(element)) {}

  Imp* Clone() const override { return new Imp_T<ElementTypeT>(*this); }

  bool Compare(const Imp& imp) const override {
    ConstCastVisitor_T<ElementTypeT> castVisitor;
    imp.Accept(castVisitor);
    return castVisitor.m_pElement != nullptr && m_Element == *castVisitor.m_pElement;
  }

  void Accept(Visitor& visitor) override { visitor.Visit(m_Element); }
  void Accept(ConstVisitor& visitor) const override { visitor.Visit(m_Element); }

  ElementTypeT m_Element;
};

template <typename ElementTypeT>
ElementTypeT& UnknownElement::convertTo() {
  CastVisitor_T<ElementTypeT> castVisitor;
  Accept(castVisitor);
  if (castVisitor.m_pElement == nullptr) {
    *this = ElementTypeT();
    Accept(castVisitor);
  }
  return *castVisitor.m_pElement;
}

template <typename ElementTypeT>
const ElementTypeT& UnknownElement::convertTo() const {
  ConstCastVisitor_T<ElementTypeT> castVisitor;
  Accept(castVisitor);
  if (castVisitor.m_pElement == nullptr) throw Exception("Bad cast");
  return *castVisitor.m_pElement;
}

}  // namespace json

// The containers complete the family; users of the templates above need them.
#include <json/Array.h>
#include <json/Object.h>
