#pragma once
// The question of the launch counter: "Rate Kestrelwing". Modal; returns
// true when the user chose to rate (the rating page is then opened).
bool askForRating();
