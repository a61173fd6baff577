#pragma once

// Makes line views readable for assistive tools, as texts of their visible lines. May be called again.
void installLineViewAccessibility();
