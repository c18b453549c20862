#include "AppKit/NSKeyedArchiver.h"

#include "Foundation/NSException.h"
#include "Foundation/NSPropertyListSerialization.h"

namespace {
const std::string topKey = "$top";
}

std::string NSKeyedArchiver::dataWithCoder(const NSCoder& coder) {
    return xmlDataFromPropertyList(NSDictionary{{topKey, coder.fields()}});
}

NSCoder NSKeyedArchiver::coderWithData(const std::string& data) {
    const PropertyList list = propertyListFromData(data);
    const PropertyList* top = list.dictionary() ? list.dictionary()->objectForKey(topKey) : nullptr;
    if (!top || !top->dictionary())
        throw NSException(NSParseErrorException, "The text is no keyed archive.");
    return NSCoder(*top->dictionary());
}
