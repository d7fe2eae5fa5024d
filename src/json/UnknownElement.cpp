#include <json/UnknownElement.h>

#include <json/Array.h>
#include <json/Object.h>

#include "json/ElementTree.h"

namespace json {
namespace {

// What an element without an Imp shows to visitors. Null has no state, so one
// shared instance serves every such element.
Null& sharedNull() {
  static Null null;
  return null;
}

}  // namespace

UnknownElement::UnknownElement() : m_pImp(nullptr) {}
UnknownElement::UnknownElement(const UnknownElement& unknown)
    : m_pImp(ElementTree::clone(unknown.m_pImp)) {}
UnknownElement::UnknownElement(UnknownElement&& other) noexcept : m_pImp(other.m_pImp) {
  other.m_pImp = nullptr;
}
UnknownElement::UnknownElement(const Object& object) : m_pImp(new Imp_T<Object>(object)) {}
UnknownElement::UnknownElement(const Array& array) : m_pImp(new Imp_T<Array>(array)) {}
UnknownElement::UnknownElement(const Number& number) : m_pImp(new Imp_T<Number>(number)) {}
UnknownElement::UnknownElement(const Boolean& boolean) : m_pImp(new Imp_T<Boolean>(boolean)) {}
UnknownElement::UnknownElement(const String& string) : m_pImp(new Imp_T<String>(string)) {}
UnknownElement::UnknownElement(const Null& null) : m_pImp(new Imp_T<Null>(null)) {}
UnknownElement::UnknownElement(Object&& object)
    : m_pImp(new Imp_T<Object>(std::move(object))) {}
UnknownElement::UnknownElement(Array&& array) : m_pImp(new Imp_T<Array>(std::move(array))) {}
UnknownElement::UnknownElement(String&& string)
    : m_pImp(new Imp_T<String>(std::move(string))) {}

UnknownElement::~UnknownElement() { ElementTree::release(m_pImp); }

UnknownElement& UnknownElement::operator=(const UnknownElement& unknown) {
  if (this != &unknown) {
    // The copy comes first: unknown may live inside the content let go below.
    Imp* copy = ElementTree::clone(unknown.m_pImp);
    Imp* old = m_pImp;
    m_pImp = copy;
    ElementTree::release(old);
  }
  return *this;
}

UnknownElement& UnknownElement::operator=(UnknownElement&& other) noexcept {
  if (this != &other) {
    Imp* old = m_pImp;
    m_pImp = other.m_pImp;
    other.m_pImp = nullptr;
    ElementTree::release(old);
  }
  return *this;
}

UnknownElement::operator const Object&() const { return convertTo<Object>(); }
UnknownElement::operator const Array&() const { return convertTo<Array>(); }
UnknownElement::operator const Number&() const { return convertTo<Number>(); }
UnknownElement::operator const Boolean&() const { return convertTo<Boolean>(); }
UnknownElement::operator const String&() const { return convertTo<String>(); }
UnknownElement::operator const Null&() const { return convertTo<Null>(); }

UnknownElement::operator Object&() { return convertTo<Object>(); }
UnknownElement::operator Array&() { return convertTo<Array>(); }
UnknownElement::operator Number&() { return convertTo<Number>(); }
UnknownElement::operator Boolean&() { return convertTo<Boolean>(); }
UnknownElement::operator String&() { return convertTo<String>(); }
UnknownElement::operator Null&() { return convertTo<Null>(); }

UnknownElement& UnknownElement::operator[](const std::string& key) {
  return convertTo<Object>()[key];
}

const UnknownElement& UnknownElement::operator[](const std::string& key) const {
  const Object& object = convertTo<Object>();
  return object[key];
}

UnknownElement& UnknownElement::operator[](size_t index) { return convertTo<Array>()[index]; }

const UnknownElement& UnknownElement::operator[](size_t index) const {
  const Array& array = convertTo<Array>();
  return array[index];
}

void UnknownElement::Accept(ConstVisitor& visitor) const {
  if (m_pImp != nullptr)
    m_pImp->Accept(visitor);
  else
    visitor.Visit(static_cast<const Null&>(sharedNull()));
}

void UnknownElement::Accept(Visitor& visitor) {
  if (m_pImp != nullptr)
    m_pImp->Accept(visitor);
  else
    visitor.Visit(sharedNull());
}

bool UnknownElement::operator==(const UnknownElement& element) const {
  return ElementTree::equal(m_pImp, element.m_pImp);
}

}  // namespace json
