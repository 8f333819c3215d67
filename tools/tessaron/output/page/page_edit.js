// Editing.
