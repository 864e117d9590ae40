#pragma once

// Sends the library's own texts to standard error when they are wanted, and nowhere otherwise:
// standard output is for data.
void sendMessages(bool wanted);
