#include <json/UnknownElement.h>
#include <json/Visitor.h>

namespace json {

Visitor::~Visitor() = default;
ConstVisitor::~ConstVisitor() = default;
UnknownElement::Imp::~Imp() = default;

}  // namespace json
