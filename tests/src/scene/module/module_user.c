#include "test_module.h"

test_scene_module* test_scene_module_state(void);

/* Refers to the module, so that the linker records the need of it. */
test_scene_module* test_scene_module_user(void);
test_scene_module* test_scene_module_user(void) {
  return test_scene_module_state();
}
