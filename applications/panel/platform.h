#pragma once

// What the window needs of the system, and what each operating system does in its own way.

bool hasDisplay();

// Off screen Qt looks for letters in a folder of its own, which a program that is brought along does not
// have. To be called before the application object is made.
void useSystemFonts();
