#pragma once

// What a step does: the first argument of each. Any other value does nothing and counts as success.
enum Mode { REGISTER = 0, UNREGISTER = 1 };
