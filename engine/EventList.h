// The small editor of the main window and the panels: the active macro's events as a list, one event at a
// time, and the thinning of mouse paths.
#pragma once

#include <string>

// Drops absolute moves inside a run of them that lie within about ten points of the last kept point; the
// run's ends and every move next to another kind of event stay. Times are kept. Under profileMutex.
void OptimizeMacro();

// [{"id":0,"time":1.500000,"desc":"Abs Move to X:1 Y:2"},...] for the active profile. Holds profileMutex
// only to copy the events.
std::string BuildMacroEventsJson();

// Rewrites the event list file from the active macro and asks the main page to show the list again.
void PublishEventList();

// Edits of the active macro, under profileMutex; an index out of range changes nothing.
void DeleteEventAt(int index);
void SetEventTimeAt(int index, double time);

// Page bindings; each rewrites the event list file. A field that isn't a number throws BindError.
std::string BindGetMacroEvents();
std::string BindDeleteEvent(const std::string& arg);
std::string BindUpdateEventTime(const std::string& arg);
std::string BindOptimizeMacro();
