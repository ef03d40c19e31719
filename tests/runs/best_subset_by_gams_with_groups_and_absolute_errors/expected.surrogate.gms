$offdigit
$offsymxref offsymlist
set i /1*4/;
set j /1*3/;
parameters z(i), xij(i,j), screened(j), dismiss(i) ;
dismiss(i) = 0;
parameters betalo(j), betaup(j) ;
z('1') = 3;
z('2') = 5;
z('3') = 3;
z('4') = 8;
xij('1', '1') = 0.5714285714285714;
xij('1', '2') = 0.6666666666666666;
xij('1', '3') = 1;
xij('2', '1') = 1.1428571428571428;
xij('2', '2') = 0.6666666666666666;
xij('2', '3') = 1;
xij('3', '1') = 0.5714285714285714;
xij('3', '2') = 1.3333333333333333;
xij('3', '3') = 1;
xij('4', '1') = 1.7142857142857142;
xij('4', '2') = 1.3333333333333333;
xij('4', '3') = 1;
screened('1') = 1;
betalo('1') = -5.9375;
betaup('1') = 5.9375;
screened('2') = 1;
betalo('2') = -5.9375;
betaup('2') = 5.9375;
screened('3') = 1;
betalo('3') = -5.9375;
betaup('3') = 5.9375;
binary variables y(j);
variables beta(j), sseplus;
beta.lo(j)=betalo(j);
beta.up(j)=betaup(j);
positive variables e(i);
equations eq2, eq3, obj;
equations erra(i), errb(i);
equations l1eca(j), l1ecb(j);
eq2(j) $(screened(j)) .. betalo(j)*y(j) =l= beta(j);
eq3(j) $(screened(j)) .. beta(j) =l= betaup(j)*y(j);
obj .. sseplus =e= 
sum(i $ (dismiss(i) < 0.5), e(i))
 / 1 + 1.3862943611198906 * sum(j $(screened(j)), y(j)) ;
erra(i) $(dismiss(i) < 0.5) ..  
z(i)-sum(j $(screened(j)),xij(i,j)*beta(j)) =L= e(i);
errb(i) $(dismiss(i) < 0.5) ..  
-z(i)+sum(j $(screened(j)),xij(i,j)*beta(j)) =L= e(i);
l1eca(j) .. 
sum(i, 2*xij(i,j)*e(i)) =L= betaup(j) * (1 - y(j));
l1ecb(j) .. 
sum(i, 2*xij(i,j)*e(i)) =G= betalo(j) * (1 - y(j));
set g /1*3/;
set m /1*4/;
alias (g, gp);
parameters grpbas(g,j), grpgrp(g,g);
grpbas(g,j)=0; grpgrp(g,g)=0;
parameters nmt(m,g), nmtp(m,g);
parameters atl(m,g), atlp(m,g);
parameters req(m,g), reqp(m,g);
parameters xcl(m,g), xclp(m,g);
nmt(m,g)=0; nmtp(m,g)=0;
atl(m,g)=0; atlp(m,g)=0;
req(m,g)=0; reqp(m,g)=0;
xcl(m,g)=0; xclp(m,g)=0;
grpbas('1', '1') = 1;
grpbas('2', '2') = 1;
grpbas('3', '1') = 1;
grpbas('3', '3') = 1;
grpgrp('3', '1') = 1;
binary variables yg(g);
equations eqnmt, eqatl, eqreq, eqxcl;
equations selgrp1, selgrp2, selgrp3;
selgrp1(g) .. yg(g) =L= sum(j $ grpbas(g,j), y(j)) +
sum(gp $ grpgrp(g,gp), yg(gp)) ;
selgrp2(g,j) $ grpbas(g,j) ..y(j) =L= yg(g);
selgrp3(g,gp) $ grpgrp(g,gp) ..yg(gp) =L= yg(g);
nmt('1', '3') = 1;
nmtp('1', '3') = 2;
atl('2', '1') = 1;
atlp('2', '1') = 1;
req('3', '1') = 1;
reqp('3', '1') = 3;
xcl('4', '1') = 1;
xclp('4', '1') = 2;
eqnmt(m,g) $ nmt(m,g) ..sum(j $ grpbas(g, j), y(j)) 
+ sum(gp $ grpgrp(g, gp), yg(gp)) =L= nmtp(m,g); 
eqatl(m,g) $ atl(m,g) ..sum(j $ grpbas(g, j), y(j)) 
+ sum(gp $ grpgrp(g, gp), yg(gp)) =G= atlp(m,g); 
eqreq(m,g) $ req(m,g) ..yg(g) =L= sum(gp $ (ord(gp) eq reqp(m,g)), yg(gp)); 
eqxcl(m,g) $ xcl(m,g) ..sum(gp $ (ord(gp) eq xclp(m,g)), yg(gp)) =L= 1-yg(g); 
model ssemip /all/;
option optca = 0.05000000074505806 ;
option optcr = 9.999999747378752e-05 ;
option limrow=0 ;
option limcol=0 ;
option solprint=off ;
option reslim =<t> ;
$onecho > mirak.opt
secret maxiphdives: -1
deltaTerm 1
deltaT 5
deltaA 0.1
deltaR 0.1
AbsIntFeasTol 1e-12
RelIntFeasTol 0
$offecho
ssemip.optfile = 1;
option mip=mirak ;
solve ssemip minimizing sseplus using mip;
file res;
put res;
res.pc=4;
put ssemip.modelstat:3:0 / ;
put sseplus.l / ;
loop(j,
put y.l(j):1:0, beta.l(j) /;
);
putclose res;
