#include "render_fixture.h"
