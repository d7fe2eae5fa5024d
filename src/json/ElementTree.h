// The whole-tree operations behind UnknownElement: deep copy, comparison and
// destruction. Each walks the tree with a stack of its own instead of recursing,
// so a document nested a hundred thousand levels deep needs no more machine stack
// than a flat one.
#pragma once

#include <json/UnknownElement.h>

namespace json {

class ElementTree {
 public:
  typedef UnknownElement::Imp Imp;

  // A deep copy of imp; null for null.
  static Imp* clone(const Imp* imp);
  // Deletes imp and everything below it.
  static void release(Imp* imp);
  // True when both trees are equal, order of members included. Null pointers are
  // null elements.
  static bool equal(const Imp* left, const Imp* right);
};

}  // namespace json
