% Makes the Level 4 samples of this folder: octave-cli make-samples.m
matrix = [1 2 3; 4 5 6.5];
row = [1 2 3];
column = [1; 2; 3];
scalar = -0.125;
text = 'Level 4';
nothing = [];
save -v4 octave.mat matrix row column scalar text nothing
