// Everything that the generated one-line functions call.
#pragma once

#include "operations/instance/array.h"
#include "operations/instance/clone.h"
#include "operations/instance/compare_hash.h"
#include "operations/instance/enumeration.h"
#include "operations/instance/field.h"
#include "operations/instance/state_flags.h"
#include "operations/instance/structure.h"
#include "operations/instance/unrolled_access.h"
#include "operations/message/message.h"
#include "operations/text/print.h"
#include "operations/text/xml.h"
#include "operations/wire/unrolled/paths.h"
