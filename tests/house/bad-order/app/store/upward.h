#pragma once

// A store header that reaches up into research: the layer check must refuse it.
#include "app/research/discover_model.h"
