/**
 * The velalib runtime: one header for all of it.
 *
 * An application needs vela_handle_create() and vela_handle_destroy(), a domain when it speaks to an older
 * peer, and vela_xml_parse() when it reads XML; the rest is what record libraries stand on.
 */
#ifndef VELALIB_H
#define VELALIB_H

#include "velalib/error_text.h"
#include "velalib/handle.h"
#include "velalib/memory_use.h"
#include "velalib/object_reference.h"
#include "velalib/primitives.h"
#include "velalib/runtime.h"
#include "velalib/shared_types.h"
#include "velalib/strings.h"
#include "velalib/types.h"
#include "velalib/xml.h"

#endif
