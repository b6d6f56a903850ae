// State flags of an XML input. The library writes them to XML and does not read them back; encode --tracked does.
#pragma once

#include "session.h"

namespace ptpcfg {

/**
 * Sets the flags that the `state` attributes of an element and of those within it give, on a tracked record built
 * from it. The byte of an array as a whole does not stand in XML and stays as it is.
 */
void set_state_flags(const record &record, const vela_xml_document *document, u_int32 element);

}  // namespace ptpcfg
