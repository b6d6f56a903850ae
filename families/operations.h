// Everything that the generated one-line functions call.
#pragma once

#include "families/access_fast.h"
#include "families/array.h"
#include "families/clone.h"
#include "families/compare_hash.h"
#include "families/enumeration.h"
#include "families/field.h"
#include "families/message.h"
#include "families/print.h"
#include "families/state_flags.h"
#include "families/structure.h"
#include "families/wire_fast.h"
#include "families/xml.h"
